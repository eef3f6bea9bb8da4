#pragma once

#include <string>
#include <unordered_set>

/** Whitelists of argument words, built before main and never changed. */
namespace kex
{

using KeywordSet = std::unordered_set<std::string>;

extern const KeywordSet bool_values;
extern const KeywordSet usbnic_actions;
extern const KeywordSet static_route_modes;
extern const KeywordSet link_states;
extern const KeywordSet addr_scopes;
extern const KeywordSet ip_versions;
extern const KeywordSet route_protocols;
extern const KeywordSet flush_kinds;
extern const KeywordSet service_actions;
extern const KeywordSet service_names;
extern const KeywordSet interface_kinds;
extern const KeywordSet addr_gen_modes;
extern const KeywordSet enable_values;
extern const KeywordSet link_speeds;
extern const KeywordSet duplex_modes;
extern const KeywordSet firewall_features;
extern const KeywordSet bond_modes;
extern const KeywordSet rule_directions;
extern const KeywordSet rule_keywords;
extern const KeywordSet arping_options;
extern const KeywordSet smartnic_operations;
extern const KeywordSet helper_programs;

/** True when word is, letter for letter, a member of set. */
bool is_keyword(const KeywordSet& set, const std::string& word);

} // namespace kex
