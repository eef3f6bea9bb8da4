// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <system_error>

namespace sdeventplus
{

class SdEventError final : public std::system_error
{
  public:
    SdEventError(int errnum, const char* call)
        : std::system_error(errnum, std::generic_category(), call)
    {
    }
};

} // namespace sdeventplus
