// SPDX-License-Identifier: MIT
#include "StopSignals.h"

#include "Commands.h"

#include <csignal>

std::atomic<bool> gStopRequested{false};

namespace {

static_assert(std::atomic<bool>::is_always_lock_free, "set from a signal handler");

extern "C" void RequestStop(int) { gStopRequested = true; }

// A signal that the process was started ignoring stays ignored: a shell starts background
// jobs ignoring Ctrl-C, and nohup starts its program ignoring a closed terminal.
void StopOn(int signal) {
  if (std::signal(signal, RequestStop) == SIG_IGN) std::signal(signal, SIG_IGN);
}

}  // namespace

void InstallStopSignals() {
  // Handlers, not "ignore": programs this one starts get the default actions back.
  StopOn(SIGINT);
  std::signal(SIGTERM, RequestStop);
#if defined(SIGHUP)
  StopOn(SIGHUP);
#endif
#if defined(SIGPIPE)
  // Always: ignored, a closed pipe would only make every write fail, for ever.
  std::signal(SIGPIPE, RequestStop);
#endif
}
