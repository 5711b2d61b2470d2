// SPDX-License-Identifier: MIT
// The library as this tool reaches it: loaded from the tool's own folder, a factory with
// the tool's reference, small owning holders, and error texts.
#ifndef TOOLS_VOLMTIME_LIBRARY_H
#define TOOLS_VOLMTIME_LIBRARY_H

#include <VolmTime/VolmTime.h>

#include "tools/common/HostTimeBase.h"
#include "tools/common/Ref.h"

#include <stdexcept>
#include <string>

// A failure of the library, with its code and text.
class LibraryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using WideName = std::basic_string<VolmWideChar>;
WideName Widen(const std::string& text);

class Library {
 public:
  // Loads the library next to this program and takes a reference to the factory; throws
  // LibraryError if either fails.
  Library();
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  [[nodiscard]] IVolmTimeFactory* Factory() const { return base_.Factory(); }
  [[nodiscard]] IVolmTimeFactoryAdvanced* Advanced() const { return advanced_.Get(); }

 private:
  HostTimeBase base_;
  Ref<IVolmTimeFactoryAdvanced> advanced_;
};

// Throws LibraryError("<what> failed: <code> <text>") when `result` is a failure, with the
// last error of `source`.
void Check(VolmResult result, IVolmUnknown* source, const std::string& what);

// Makes `timer` a new timer on `clock`. The library makes a timer even when the system gives
// it no platform timer (out of descriptors, say) and says so only when asked for its handle;
// this asks at once and throws LibraryError with the library's text ("CreateWaitableTimer
// failed!") rather than use a timer that cannot fire.
void CreateCheckedTimer(IClock* clock, Ref<IWaitableTimer>& timer);

#endif  // TOOLS_VOLMTIME_LIBRARY_H
