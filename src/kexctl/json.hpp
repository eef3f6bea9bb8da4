#pragma once

#include <concepts>
#include <string>
#include <string_view>

namespace kex::ctl
{

/** Builds one JSON text. Names are given for what stands in an object and left out in an array. */
class Json
{
  public:
    Json& begin_object(std::string_view name = {});
    Json& end_object();
    Json& begin_array(std::string_view name = {});
    Json& end_array();

    /** Bytes that are no UTF-8 become the replacement character. */
    Json& text(std::string_view name, std::string_view value);
    Json& flag(std::string_view name, bool value);

    Json& number(std::string_view name, std::integral auto value)
    {
        return raw(name, std::to_string(value));
    }

    Json& texts(std::string_view name, const auto& values)
    {
        begin_array(name);
        for (const auto& value : values) {
            text({}, value);
        }
        return end_array();
    }

    /** Prints the text and a newline. */
    void print() const;

  private:
    Json& raw(std::string_view name, const std::string& value);
    void begin_value(std::string_view name);

    std::string text_;
    bool first_ = true; /**< of its object or array */
};

} // namespace kex::ctl
