#pragma once

#include "support/case_name.hpp"
#include "support/scripted_kernel.hpp"

#include <functional>

namespace kex::test
{

/** An operation that sends one request, and the texts of its outcome. */
struct Operation {
    const char* name;
    std::function<int(netlink::NetlinkCommandSocket&)> run;
    const char* success;
    const char* failure;
};

inline void PrintTo(const Operation& operation, std::ostream* out)
{
    *out << operation.name;
}

/** What every such operation has in common; instantiated by the tests of the operations. */
class Outcome : public NetlinkTest, public testing::WithParamInterface<Operation>
{
  protected:
    int run() { return GetParam().run(sock); }
    [[nodiscard]] std::string function() const { return GetParam().name; }
};

/** An operation whose arguments keep it from sending anything. */
struct Refusal {
    const char* name;
    std::function<int(netlink::NetlinkCommandSocket&)> run;
    const char* function; /**< that logs the reason */
    const char* reason;
    uint32_t used; /**< sequence numbers that the refused request takes all the same */
};

inline void PrintTo(const Refusal& refusal, std::ostream* out)
{
    *out << refusal.name;
}

class Refused : public NetlinkTest, public testing::WithParamInterface<Refusal>
{
  protected:
    int run() { return GetParam().run(sock); }
};

} // namespace kex::test
