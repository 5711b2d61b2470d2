// SPDX-License-Identifier: MIT
#include "tools/common/ChildProcess.h"

#include "tools/common/LoadedLibrary.h"

#include <boost/dll/runtime_symbol_info.hpp>

std::string SiblingProgram(const std::string& name) {
  return (ProgramFolder() / (name + boost::dll::program_location().extension().string())).string();
}
