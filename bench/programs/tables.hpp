#pragma once

#include "bus.hpp"
#include "core/unique_fd.hpp"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <array>
#include <vector>

namespace kex::bench
{

/** A kind of entries that kex flushes, and the ways to flush it. */
struct Table {
    std::string label;
    uint8_t family;
    uint16_t get_type;
    uint16_t new_type;
    uint16_t delete_type;
    Words kex; /**< command and arguments; "LINK" stands for the link's name */
    Words ip;  /**< the program of that name, likewise */
};

const std::array<Table, 3>& tables();

/** Entries of a table that belong to one link, seen without kex. */
class TableAccess
{
  public:
    TableAccess(const Table& table, const std::string& link);

    void fill(unsigned entries);

    [[nodiscard]] size_t count();

    /** A dump, a delete and its acknowledgement for each entry, until a dump shows none. */
    void flush();

  private:
    /** The link's entries, message behind message. */
    std::vector<char> dump();
    [[nodiscard]] bool is_ours(const nlmsghdr& entry) const;
    void add(uint32_t number);
    void send(nlmsghdr& request);
    void receive_ack();

    const Table& table_;
    int index_;
    UniqueFd socket_;
    uint32_t seq_ = 0;
};

} // namespace kex::bench
