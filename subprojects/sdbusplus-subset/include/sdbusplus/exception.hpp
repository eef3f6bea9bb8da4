// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <systemd/sd-bus.h>

#include <exception>
#include <string>
#include <utility>

namespace sdbusplus
{

struct exception_t : public std::exception {
    virtual const char* name() const noexcept = 0;
    virtual const char* description() const noexcept = 0;
};

// What the binding itself raises: a callback answers it as a D-Bus error.
struct internal_exception_t : public exception_t {
};

namespace exception
{

class SdBusError final : public internal_exception_t
{
  public:
    SdBusError(int errnum, const char* call) : text(call)
    {
        sd_bus_error_set_errno(&error, errnum);
        for (const char* part : {error.name, error.message}) {
            if (part != nullptr) {
                text.append(": ").append(part);
            }
        }
    }

    SdBusError(SdBusError&& other) noexcept
        : error(std::exchange(other.error, sd_bus_error{})), text(std::move(other.text))
    {
    }
    ~SdBusError() override { sd_bus_error_free(&error); }

    const char* name() const noexcept override { return error.name; }
    const char* description() const noexcept override { return error.message; }
    const char* what() const noexcept override { return text.c_str(); }

  private:
    sd_bus_error error{};
    std::string text;
};

class InvalidEnumString final : public internal_exception_t
{
  public:
    const char* name() const noexcept override
    {
        return "xyz.openbmc_project.sdbusplus.Error.InvalidEnumString";
    }
    const char* description() const noexcept override
    {
        return "An enumeration mapping was attempted for which no valid enumeration value exists.";
    }
    const char* what() const noexcept override
    {
        return "xyz.openbmc_project.sdbusplus.Error.InvalidEnumString: "
               "An enumeration mapping was attempted for which no valid enumeration value exists.";
    }
};

} // namespace exception
} // namespace sdbusplus
