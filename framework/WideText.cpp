// SPDX-License-Identifier: MIT
#include "framework/WideText.h"

#include <string>

WideString WidenBytes(std::string_view bytes) {
  WideString wide;
  wide.reserve(bytes.size());
  for (const char byte : bytes)
    wide.push_back(static_cast<VolmWideChar>(static_cast<unsigned char>(byte)));
  return wide;
}

std::string NarrowToLowBytes(WideStringView text) {
  std::string narrow;
  narrow.reserve(text.size());
  for (const VolmWideChar unit : text) {
    narrow.push_back(
        static_cast<char>(static_cast<unsigned char>(static_cast<unsigned>(unit) & 0xFFu)));
  }
  return narrow;
}

std::string EncodeUtf8PerUnit(WideStringView text) {
  std::string utf8;
  utf8.reserve(text.size());
  for (const VolmWideChar character : text) {
    const auto unit = static_cast<unsigned>(character);
    if (unit < 0x80u) {
      utf8.push_back(static_cast<char>(unit));
    } else if (unit < 0x800u) {
      utf8.push_back(static_cast<char>(0xC0u | (unit >> 6)));
      utf8.push_back(static_cast<char>(0x80u | (unit & 0x3Fu)));
    } else {
      utf8.push_back(static_cast<char>(0xE0u | (unit >> 12)));
      utf8.push_back(static_cast<char>(0x80u | ((unit >> 6) & 0x3Fu)));
      utf8.push_back(static_cast<char>(0x80u | (unit & 0x3Fu)));
    }
  }
  return utf8;
}

WideString WideDecimal(long long value) { return WidenBytes(std::to_string(value)); }
