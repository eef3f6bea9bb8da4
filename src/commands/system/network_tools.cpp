#include "commands/command_handler.hpp"
#include "commands/link/exec.hpp"
#include "commands/log.hpp"
#include "commands/validators/validators.hpp"
#include "core/number.hpp"
#include "dbus/constants.hpp"
#include "dbus/keyword_sets.hpp"
#include "dbus/keywords.hpp"

namespace kex::commands
{
namespace
{

using namespace keyword;

constexpr size_t max_arping_args = 11;
constexpr int32_t wrong_count = -1;
constexpr int32_t refused_argument = -2;

/** Loose on purpose: the argument reaches arping as it is, without a shell. */
bool is_arping_value(const std::string& text)
{
    return !is_invalid_ipv4_text(text) || !is_invalid_text(text) || !is_invalid_ifname(text) ||
           leading_number(text) != 0;
}

} // namespace

void CommandHandler::firewall_control(const Args& args)
{
    if (args.size() < 2 || !is_keyword(firewall_features, args[0]) ||
        !is_keyword(bool_values, args[1])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const bool for_interface = args[0] == firewall_feature::dedipv4;
    if (for_interface && (args.size() < 3 || is_invalid_ifname(args[2]))) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const int rc = exec_cmd({constant::firewall_script_path, args[0].c_str(), args[1].c_str(),
                             for_interface ? args[2].c_str() : nullptr});
    if (rc != 0) {
        LOG_WARNING("firewall config failed %s %s rc=%d\n", args[0].c_str(), args[1].c_str(), rc);
    }
}

void CommandHandler::dhcp_release(const Args& args)
{
    LOG_INFO("\n"); // marks the entry
    if (args.size() != 2 || !is_keyword(ip_versions, args[0]) || is_invalid_ifname(args[1])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const int rc = exec_cmd({constant::dhcpcd_program, "-k",
                             args[0] == ip_version::ipv4 ? "-4" : "-6", args[1].c_str()});
    LOG_INFO("dhcp release %s %s rc=%d\n", args[0].c_str(), args[1].c_str(), rc);
}

int32_t CommandHandler::send_arping(const Args& args)
{
    if (args.empty() || args.size() > max_arping_args) {
        LOG_ERROR("invalid parm count\n");
        return wrong_count;
    }
    std::vector<std::string> words;
    for (const std::string& arg : args) {
        const bool is_option = is_keyword(arping_options, arg);
        if (!is_option && !is_arping_value(arg)) {
            LOG_ERROR("invalid parm list\n");
            return refused_argument;
        }
        words.push_back(is_option ? std::string("-").append(arg) : arg);
    }
    std::vector<const char*> argv{constant::arping_program};
    for (const std::string& word : words) {
        argv.push_back(word.c_str());
    }
    argv.push_back(nullptr);
    const int rc = exec_cmd(argv.data(), true, true);
    LOG_INFO("sent arp request rc=%d\n", rc);
    return rc;
}

} // namespace kex::commands
