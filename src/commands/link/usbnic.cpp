#include "commands/command_handler.hpp"
#include "commands/link/exec.hpp"
#include "commands/log.hpp"
#include "commands/validators/validators.hpp"
#include "core/text_file.hpp"
#include "dbus/constants.hpp"
#include "dbus/keyword_sets.hpp"
#include "dbus/keywords.hpp"

#include <cstring>

namespace kex::commands
{
namespace
{

using namespace keyword;

constexpr const char* usb_device_controller = "ci_hdrc.5";
constexpr size_t compared_length = 14;

/** Reads back what the gadget's controller is now, which is where a refused write shows. */
void verify_driver_state(const std::string& value)
{
    constexpr const char* function = "set_usbnic_driver_state";
    const std::string& file = constant::usb_gadget_udc_file;
    const FirstLine line = read_first_line(file);
    if (!line.opened) {
        LOG_ERROR_AS(function, 741, "failed to open %s for verification of write\n", file.c_str());
    } else if (!line.read) {
        LOG_ERROR_AS(function, 737, "unable to read from %s\n", file.c_str());
    } else if (std::strncmp(line.text.c_str(), value.c_str(), compared_length) != 0) {
        LOG_ERROR_AS(function, 732, "invalid write to %s\n", file.c_str());
    } else {
        LOG_INFO_AS(function, 734, "driver command OK\n");
    }
}

void set_usbnic_driver_state(bool enable)
{
    LOG_INFO_AT(707, "%sabling usb-nic\n", enable ? "en" : "dis");
    const std::string& file = constant::usb_gadget_udc_file;
    const std::string value = enable ? usb_device_controller : "";
    const auto written = write_setting(file, value);
    if (!written) {
        LOG_ERROR_AT(745, "failed to open %s\n", file.c_str());
        return;
    }
    const int length = static_cast<int>(value.size());
    if (*written != length + 1) {
        LOG_ERROR_AT(718, "failed to modify %s\n", file.c_str());
        return;
    }
    // One more than was written. Intended.
    LOG_TRACE_AT(721, "wrote %d bytes to %s\n", length + 2, file.c_str());
    verify_driver_state(value);
}

/** Makes the kernel answer ARP only for addresses of the interface that was asked. */
void init_arp_ignore()
{
    if (!write_setting("/proc/sys/net/ipv4/conf/all/arp_ignore", "1")) {
        LOG_ERROR_AT(2250, "failed to open arp_ignore file\n");
    }
}

void init_usbnic(const Args& args)
{
    constexpr const char* function = "usbnic_control";
    // A list of one argument has come this far too.
    if (args.size() != 4 || is_invalid_mac(args[1]) || is_invalid_mac(args[2]) ||
        !is_keyword(link_states, args[3])) {
        LOG_ERROR_AS(function, 775, "invalid parm list\n");
        return;
    }
    LOG_INFO_AS(function, 779, "initializing usb-nic\n");
    const int rc =
        exec_cmd({constant::usbnic_script_path, args[1].c_str(), args[2].c_str(), args[3].c_str()});
    if (rc != 0) {
        LOG_WARNING_AS(function, 785, "failed to run usb-nic init script rc=%d\n", rc);
    }
    init_arp_ignore();
}

} // namespace

void CommandHandler::usbnic_control(const Args& args)
{
    if ((args.size() != 1 && args.size() != 4) || !is_keyword(usbnic_actions, args[0])) {
        LOG_ERROR_AT(767, "invalid parm list\n");
        return;
    }
    if (args[0] == toggle::init) {
        init_usbnic(args);
    } else {
        set_usbnic_driver_state(args[0] == toggle::enable);
    }
}

} // namespace kex::commands
