// SPDX-License-Identifier: MIT
#include "VolmTime/Core/CException.h"

namespace VolmTime::Core {

CException::CException(WideStringView message)
    : message_(message), narrow_(EncodeUtf8PerUnit(message)) {}

}  // namespace VolmTime::Core
