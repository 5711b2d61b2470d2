// SPDX-License-Identifier: MIT
#include "Library.h"

#include <cstdio>
#include <filesystem>
#include <vector>

WideName Widen(const std::string& text) {
  WideName wide;
  for (const char character : text)
    wide.push_back(static_cast<VolmWideChar>(static_cast<unsigned char>(character)));
  return wide;
}

namespace {

// Beside the tool, as in the build tree and on Windows; then in the library folder of the
// installed layout, by the name the runtime package installs (the SONAME).
std::vector<LibraryCandidate> LibraryCandidates() {
  const std::filesystem::path folder = ProgramFolder();
  return {{folder / kVolmLibraryFileName},
          {(folder / VOLMTIME_INSTALLED_LIBRARY_DIR / VOLMTIME_INSTALLED_LIBRARY_NAME)
               .lexically_normal()}};
}

}  // namespace

Library::Library() : base_(LibraryCandidates()) {
  if (!base_.IsReady()) throw LibraryError(base_.Error());
  Check(Factory()->QueryInterface(IID_IVolmTimeFactoryAdvanced, advanced_.OutVoid()), Factory(),
        "asking the factory for its advanced interface");
}

Library::~Library() { advanced_.Reset(); }

void Check(VolmResult result, IVolmUnknown* source, const std::string& what) {
  if (VolmSucceeded(result)) return;
  const std::string text = LastErrorText(source);
  char code[16];
  std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
  throw LibraryError(what + " failed (" + code + ")" + (text.empty() ? "" : ": " + text));
}

void CreateCheckedTimer(IClock* clock, Ref<IWaitableTimer>& timer) {
  Check(clock->CreateTimer(timer.Out()), clock, "CreateTimer");
  VolmHandle handle{};
  Check(timer->GetHandle(&handle), timer.Get(), "asking the new timer for its handle");
}
