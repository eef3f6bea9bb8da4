#pragma once

// Each operation builds with libmnl what kex's of the same name builds, and sends it.
namespace kex::bench::mnl
{

/** Zeros the buffer: libmnl leaves what is between attributes as it was. */
void clear();

void set_link_state();
void delete_link();
void rename_link();
void set_link_address();
void set_link_mtu();
void set_link_boss();
void clear_link_boss();
void create_bond();
void create_vlan();
void create_macvlan();
void set_vlan_egress_qos();
void add_address_ipv4();
void add_address_ipv6();
void add_route();
void modify_rule();
void replace_neighbor();
void dump_addresses();
void dump_routes();
void dump_neighbors();

} // namespace kex::bench::mnl
