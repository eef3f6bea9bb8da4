#include "commands/command_handler.hpp"
#include "commands/log.hpp"
#include "commands/system/systemd_client.hpp"
#include "dbus/keyword_sets.hpp"
#include "dbus/keywords.hpp"

#include <chrono>

namespace kex::commands
{
namespace
{

using namespace keyword;

/** The monotonic clock in whole seconds. */
unsigned long clock_seconds()
{
    using namespace std::chrono;
    const auto now = steady_clock::now().time_since_epoch();
    return static_cast<unsigned long>(duration_cast<seconds>(now).count());
}

int request_job(const std::string& action, const std::string& service, bool wait)
{
    if (action == service_action::start) {
        return start_unit(service, wait);
    }
    if (action == service_action::stop) {
        return stop_unit(service, wait);
    }
    return action == service_action::restart ? restart_unit(service, wait) : 0;
}

} // namespace

void CommandHandler::service_control(const Args& args)
{
    if (args.size() != 3 || !is_keyword(service_actions, args[0]) ||
        !is_keyword(service_names, args[1]) || !is_keyword(bool_values, args[2])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const std::string& action = args[0];
    const std::string& service = args[1];
    LOG_INFO("%s %s at %lu\n", service.c_str(), action.c_str(), clock_seconds());
    const int reset = reset_failed_unit(service); // its failure does not stop the request
    const int rc = request_job(action, service, args[2] == boolean::true_);
    LOG_INFO("completed %s %s at %lu rc1=%d rc=%d\n", service.c_str(), action.c_str(),
             clock_seconds(), reset, rc);
}

} // namespace kex::commands
