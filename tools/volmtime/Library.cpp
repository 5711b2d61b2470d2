// SPDX-License-Identifier: MIT
#include "Library.h"

#include "tools/common/ChildProcess.h"

#include <cstdio>
#include <filesystem>

WideName Widen(const std::string& text) {
  WideName wide;
  for (const char character : text)
    wide.push_back(static_cast<VolmWideChar>(static_cast<unsigned char>(character)));
  return wide;
}

namespace {

#if defined(_WIN32)
constexpr char kSeparator = '\\';
#else
constexpr char kSeparator = '/';
#endif

// Beside the tool, as in the build tree and on Windows; otherwise in the library folder of
// the installed layout, by the name the runtime package installs (the SONAME).
std::string LibraryPath() {
  const std::string beside = ProgramDirectory() + kSeparator + kVolmLibraryFileName;
  const std::string installed = ProgramDirectory() + kSeparator + VOLMTIME_INSTALLED_LIBRARY_DIR +
                                kSeparator + VOLMTIME_INSTALLED_LIBRARY_NAME;
  std::error_code ignored;
  if (std::filesystem::exists(beside, ignored) || !std::filesystem::exists(installed, ignored))
    return beside;
  return installed;
}


}  // namespace

Library::Library() : base_(LibraryPath()) {
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
