#include "core/log.hpp"
#include "kexctl/bus.hpp"
#include "kexctl/command_table.hpp"
#include "kexctl/json.hpp"
#include "kexctl/log_files.hpp"
#include "kexctl/log_journal.hpp"
#include "kexctl/log_json.hpp"
#include "kexctl/names.hpp"
#include "kexctl/output.hpp"
#include "kexctl/verbs.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace kex::ctl
{
namespace
{

using Messages = std::vector<LogMessage>;

void show_call(const std::string& command, const Options& options)
{
    if (options.json) {
        print_line({{"destination", service_name},
                    {"path", object_path},
                    {"interface", interface_name},
                    {"method", "ExecuteCommand"},
                    {"command", command_string(command)},
                    {"arguments", options.words}});
        return;
    }
    std::printf("busctl call %s %s %s ExecuteCommand sas %s %zu", service_name, object_path,
                interface_name, command_string(command).c_str(), options.words.size());
    for (const std::string& word : options.words) {
        std::printf(" %s", shell_quoted(word).c_str());
    }
    std::puts("");
}

uint64_t now_usec()
{
    using namespace std::chrono;
    const auto now = system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(duration_cast<microseconds>(now).count());
}

/** Finds what the daemon logs for one command from here on. */
class CommandLog
{
  public:
    CommandLog(std::string command, const std::vector<std::string>& arguments)
        : command_(std::move(command)), arguments_(arguments)
    {
        files_.skip();
    }

    Messages read() { return files_.empty() ? read_journal() : own(files_.read()); }

  private:
    [[nodiscard]] Messages own(const Messages& log) const
    {
        return messages_of_command(log, command_, arguments_);
    }

    [[nodiscard]] Messages read_journal() const
    {
        LogJournal journal(start_usec_);
        return own(journal.read_until([this](const Messages& log) { return !own(log).empty(); }));
    }

    std::string command_;
    const std::vector<std::string>& arguments_;
    uint64_t start_usec_ = now_usec();
    LogFiles files_{log_file_path};
};

ExitStatus outcome(const CallResult& result, const Messages& messages)
{
    if (result.status != ExitStatus::ok) {
        return result.status;
    }
    const bool failed = result.reply != 0 || std::ranges::any_of(messages, &LogMessage::is_error);
    return failed ? ExitStatus::command_failed : ExitStatus::ok;
}

void print_json(const std::string& command, const Options& options, const CallResult& result,
                const Messages& messages)
{
    Json json = {{"command", command}, {"arguments", options.words}};
    if (result.status == ExitStatus::ok) {
        json["reply"] = result.reply;
    } else {
        json["error"] = result.error;
    }
    json["status"] = static_cast<int>(outcome(result, messages));
    json["log"] = Json::array();
    for (const LogMessage& message : messages) {
        json["log"].push_back(as_json(message));
    }
    print_line(json);
}

void print_text(const CallResult& result, const Messages& messages)
{
    std::ranges::for_each(messages, print_message);
    if (result.status == ExitStatus::ok) {
        std::printf("reply %d\n", result.reply);
    }
}

} // namespace

ExitStatus run_command(const Options& options)
{
    const std::string command(named_command(options.verb).name);
    if (options.dry_run) {
        show_call(command, options);
        return ExitStatus::ok;
    }
    CommandLog log(command, options.words);
    Bus bus;
    const CallResult result = bus.execute(command, options.words);
    const Messages messages = log.read();
    if (options.json) {
        print_json(command, options, result, messages);
    } else {
        print_text(result, messages);
    }
    if (result.status != ExitStatus::ok) {
        throw Failure(result.status, result.error);
    }
    if (messages.empty()) {
        complain("the log does not show this command: its outcome is not known");
    }
    return outcome(result, messages);
}

} // namespace kex::ctl
