// SPDX-License-Identifier: MIT
#include "tools/common/LoadedLibrary.h"

#include <boost/dll/runtime_symbol_info.hpp>

#include <system_error>
#include <utility>

LoadedLibrary::LoadedLibrary(const std::vector<LibraryCandidate>& candidates) {
  std::string tried;
  for (const LibraryCandidate& candidate : candidates) {
    const std::filesystem::path file = candidate.systemSearch || candidate.file.has_parent_path()
                                           ? candidate.file
                                           : ProgramFolder() / candidate.file;
    std::error_code error;
    if (!candidate.systemSearch && !std::filesystem::exists(file, error)) {
      tried += "\n  " + file.string() + ": no such file";
      continue;
    }
    library_.load(file,
                  candidate.systemSearch ? boost::dll::load_mode::search_system_folders
                                         : boost::dll::load_mode::default_mode,
                  error);
    if (!error) return;
    tried += "\n  " + file.string() + ": " + error.message();
  }
  throw LibraryLoadError("cannot load the VolmTime library; tried:" + tried);
}

std::filesystem::path LoadedLibrary::File() const { return library_.location(); }

void LoadedLibrary::KeepForProcess() { (void)new boost::dll::shared_library(std::move(library_)); }

std::filesystem::path ProgramFolder() { return boost::dll::program_location().parent_path(); }
