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
// the installed layout.
std::string LibraryPath() {
  const std::string beside = ProgramDirectory() + kSeparator + kVolmLibraryFileName;
  const std::string installed = ProgramDirectory() + kSeparator + VOLMTIME_INSTALLED_LIBRARY_DIR +
                                kSeparator + kVolmLibraryFileName;
  std::error_code ignored;
  if (std::filesystem::exists(beside, ignored) || !std::filesystem::exists(installed, ignored))
    return beside;
  return installed;
}

std::string TextOf(IVolmWideCharString* text) {
  const VolmWideChar* buffer = nullptr;
  if (text == nullptr || text->GetBuffer(&buffer) != VOLM_S_OK || buffer == nullptr) return "";
  std::string narrow;
  for (; *buffer != 0; ++buffer) {
    const auto unit = static_cast<unsigned>(*buffer);
    narrow.push_back(unit < 0x80 ? static_cast<char>(unit) : '?');
  }
  return narrow;
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
  std::string text;
  Ref<IGetVolmError> errors;
  if (source != nullptr &&
      source->QueryInterface(IID_IGetVolmError, errors.OutVoid()) == VOLM_S_OK) {
    Ref<IVolmError> error;
    errors->GetError(error.Out());
    if (error.Get() != nullptr) {
      Ref<IVolmWideCharString> message;
      error->GetText(message.Out());
      text = TextOf(message.Get());
    }
  }
  char code[16];
  std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
  throw LibraryError(what + " failed (" + code + ")" + (text.empty() ? "" : ": " + text));
}
