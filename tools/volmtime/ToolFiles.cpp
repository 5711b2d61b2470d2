// SPDX-License-Identifier: MIT
#include "ToolFiles.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <algorithm>

namespace {

// Room for a prefix and a suffix, and for Windows' temp folder in front, below its 260
// characters for a path.
constexpr std::size_t kLongestPlainBase = 120;
constexpr std::size_t kKeptOfALongBase = 60;

bool StaysAsItIs(unsigned char code) {
  return (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') ||
         (code >= '0' && code <= '9') || code == '-' || code == '.';
}

std::string Digest(const std::string& name) {
  const boost::uuids::name_generator_sha1 generator(boost::uuids::ns::oid());
  std::string text = boost::uuids::to_string(generator(name.data(), name.size()));
  text.erase(std::remove(text.begin(), text.end(), '-'), text.end());
  return text;
}

}  // namespace

std::string FileBaseOf(const std::string& name) {
  std::string base;
  std::size_t cut = 0;  // the length of base up to the last whole character within the cut
  for (const char character : name) {
    const auto code = static_cast<unsigned char>(character);
    if (StaysAsItIs(code)) {
      base += character;
    } else {
      base += '_' + std::to_string(code);
    }
    if (base.size() <= kKeptOfALongBase) cut = base.size();
  }
  if (base.size() <= kLongestPlainBase) return base;
  // '~' never stands for itself (it becomes "_126"), so a cut name cannot equal a whole one.
  return base.substr(0, cut) + '~' + Digest(name);
}
