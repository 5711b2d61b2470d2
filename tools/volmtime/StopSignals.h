// SPDX-License-Identifier: MIT
// The signals that ask a process to end: Ctrl-C (SIGINT), SIGTERM, a closed terminal
// (SIGHUP) and output that nobody reads any more (SIGPIPE, which `volmtime publish | head`
// meets). Each sets gStopRequested (Commands.h), and a long-running command then ends the way
// it ends after its duration, giving back its store and removing its files; nothing is left
// behind. A signal the process was started ignoring stays ignored (a background job's
// Ctrl-C, nohup's closed terminal). Windows has only the first two.
#ifndef TOOLS_VOLMTIME_STOPSIGNALS_H
#define TOOLS_VOLMTIME_STOPSIGNALS_H

void InstallStopSignals();

#endif  // TOOLS_VOLMTIME_STOPSIGNALS_H
