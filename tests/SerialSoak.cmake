# SPDX-License-Identifier: MIT
# Read by ctest after the host tests are listed: the soak test runs alone.
if(COMMAND set_tests_properties)
  set_tests_properties(Soak.ReadersSurviveAWriterKilledAndReplaced PROPERTIES RUN_SERIAL TRUE)
endif()
