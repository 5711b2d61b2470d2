// SPDX-License-Identifier: MIT
#include "framework/VolmIdentifiers.h"

#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>

#include <algorithm>
#include <string>

VolmId ParseVolmId(std::string_view text) {
  // Boost also accepts braces and undashed forms; only the dashed form is an identifier here.
  static constexpr std::size_t kDashedLength = 36;
  if (text.size() != kDashedLength || text[8] != '-' || text[13] != '-' || text[18] != '-' ||
      text[23] != '-') {
    throw std::runtime_error("not an identifier: " + std::string(text));
  }
  const boost::uuids::uuid parsed = boost::uuids::string_generator()(std::string(text));
  VolmId id{};
  std::copy(parsed.begin(), parsed.end(), id.bytes);
  return id;
}

namespace {

VolmIdentifierTable BuildTable() {
  VolmIdentifierTable table{};
  table.volmUnknown = ParseVolmId("20589DAC-2116-4EF7-AFE3-A5353EEDF812");
  table.getVolmError = ParseVolmId("1C6CD3DC-F29F-4E04-B228-14F36287A329");
  table.timeFactoryClass = ParseVolmId("F8E44EBD-7EDE-46D6-8485-C1BB20C8A35F");
  table.timeFactory = ParseVolmId("7D30EBCE-DB13-4806-B6FC-8059DF73E726");
  table.timeFactoryAdvanced = ParseVolmId("9DA31D4F-68B2-4062-8825-99ADEBA15B0A");
  table.highResolutionCounter = ParseVolmId("3F6F227A-2F9D-4BA5-A5B3-CFEF0949B17F");
  table.correctionFunction = ParseVolmId("4CA6B644-4426-46CB-AE30-7FEC9C9832E3");
  table.piecewiseLinearCorrection = ParseVolmId("E372D2FD-0E00-4BE5-8AA7-5F944C79CEF9");
  table.clock = ParseVolmId("A5471427-A990-41CF-AB4F-C2291C5B8E57");
  table.waitForEvents = ParseVolmId("8534850D-84FF-4598-B1BA-93A0F4E148B5");
  table.waitableTickTimer = ParseVolmId("F464CD4E-3A83-4569-BA90-4E6C63EB7F32");
  table.waitableTimer = ParseVolmId("02A6DDD4-4D87-463F-A5BE-1F9CF0E26D6B");
  // The error interfaces and the framework's reserved identifiers form one group.
  table.volmError = ParseVolmId("E91C1F8C-C294-4d2A-9551-DAD72979BA3D");
  table.volmWideCharString = ParseVolmId("C2E8E63F-228D-4584-9076-C96F7119377C");
  table.frameworkReserved1 = ParseVolmId("6DF78CFF-B0CC-40AE-83E1-B5EC661776D4");
  table.frameworkReserved2 = ParseVolmId("5B6CD562-FBB9-4262-8756-0D50234CA6B0");
  return table;
}

// Dynamic initialisation at load; nothing else at load depends on it.
const VolmIdentifierTable gTable = BuildTable();

}  // namespace

const VolmIdentifierTable& VolmIds() noexcept { return gTable; }
