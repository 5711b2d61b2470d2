// SPDX-License-Identifier: MIT
// Loading VolmTime at run time, as the examples' hosts do: the library beside the program
// first, then the file the build system knows (VOLMTIME_LIBRARY_FILE, set by the
// VolmTime::Headers target from the build tree or the installed package). When no
// candidate loads, the error names every file tried and why it failed.
#ifndef VOLMTIME_EXAMPLES_LOADVOLMTIME_H
#define VOLMTIME_EXAMPLES_LOADVOLMTIME_H

#ifndef BOOST_DLL_USE_STD_FS
#define BOOST_DLL_USE_STD_FS
#endif
#include <VolmTime/VolmTime.h>

#include <boost/dll/runtime_symbol_info.hpp>
#include <boost/dll/shared_library.hpp>

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

// One reference to a VolmTime object, given back when the holder goes.
template <typename Interface>
class Held {
 public:
  Held() = default;
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() {
    if (object_ != nullptr) object_->Release();
  }

  // For the out-parameter that hands the reference over.
  Interface** Out() { return &object_; }
  void** OutVoid() { return reinterpret_cast<void**>(&object_); }
  Interface* operator->() const { return object_; }
  [[nodiscard]] Interface* Get() const { return object_; }

 private:
  Interface* object_ = nullptr;
};

// Throws with the operation, the result code and the object's error text if `result` is a
// failure.
inline void Check(VolmResult result, IVolmUnknown* source, const char* what) {
  if (VolmSucceeded(result)) return;
  std::string text;
  Held<IGetVolmError> errors;
  Held<IVolmError> error;
  Held<IVolmWideCharString> message;
  const VolmWideChar* buffer = nullptr;
  if (source != nullptr &&
      source->QueryInterface(IID_IGetVolmError, errors.OutVoid()) == VOLM_S_OK &&
      errors->GetError(error.Out()) == VOLM_S_OK && error.Get() != nullptr &&
      error->GetText(message.Out()) == VOLM_S_OK && message.Get() != nullptr &&
      message->GetBuffer(&buffer) == VOLM_S_OK && buffer != nullptr) {
    for (; *buffer != 0; ++buffer)
      text.push_back(*buffer < 0x80 ? static_cast<char>(*buffer) : '?');
  }
  char code[16];
  std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(result));
  throw std::runtime_error(std::string(what) + " failed (" + code + ")" +
                           (text.empty() ? "" : ": " + text));
}

// The loaded library and the factory, with one reference that the destructor gives back
// before the library is unloaded.
class LoadedVolmTime {
 public:
  // Loads `file`, or with an empty name the first candidate that loads.
  explicit LoadedVolmTime(const std::string& file = "") {
    std::vector<std::filesystem::path> candidates;
    if (!file.empty()) {
      candidates.emplace_back(file);
    } else {
      candidates.push_back(boost::dll::program_location().parent_path() / kVolmLibraryFileName);
#ifdef VOLMTIME_LIBRARY_FILE
      candidates.emplace_back(VOLMTIME_LIBRARY_FILE);
#endif
    }
    std::string tried;
    for (const auto& candidate : candidates) {
      std::error_code error;
      if (!std::filesystem::exists(candidate, error)) {
        tried += "\n  " + candidate.string() + ": no such file";
        continue;
      }
      library_.load(candidate, boost::dll::load_mode::default_mode, error);
      if (!error) break;
      tried += "\n  " + candidate.string() + ": " + error.message();
    }
    if (!library_.is_loaded())
      throw std::runtime_error("cannot load the VolmTime library; tried:" + tried +
                               "\nBuild or install VolmTime, or name the library file.");

    auto createInstance = library_.get<VolmResult(const VolmId&, void**)>(kVolmCreateInstanceName);
    void* object = nullptr;
    if (createInstance(CLSID_VolmTimeFactory, &object) != VOLM_S_OK || object == nullptr)
      throw std::runtime_error("CreateInstance gave no time factory");
    factory_ = static_cast<IVolmTimeFactory*>(object);
    // CreateInstance adds no reference; the factory lives while someone holds one.
    factory_->AddRef();
  }
  LoadedVolmTime(const LoadedVolmTime&) = delete;
  LoadedVolmTime& operator=(const LoadedVolmTime&) = delete;
  ~LoadedVolmTime() { factory_->Release(); }

  [[nodiscard]] IVolmTimeFactory* Factory() const { return factory_; }
  [[nodiscard]] std::string File() const { return library_.location().string(); }

 private:
  boost::dll::shared_library library_;
  IVolmTimeFactory* factory_ = nullptr;
};

#endif  // VOLMTIME_EXAMPLES_LOADVOLMTIME_H
