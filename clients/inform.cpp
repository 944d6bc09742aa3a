#include "clients/command.h"

#include <cstdio>

#include "clients/failure.h"
#include "clients/output.h"
#include "clients/screen_text.h"

namespace vesk::client {
namespace {

constexpr const char *accepted = "OK";
constexpr const char *unknown_object = "ERR no handler";
constexpr int confirmation_time = 1000; // ms; it is on its way before the reply is
constexpr int rescue_time = 100;

/** The message ends a value at "&"; nothing stands for it. */
void check_parameter(const std::string &word)
{
    if (word.find('=') == word.npos)
        misuse("\"" + visible(word) + "\" is not of the form NAME=VALUE");
    if (word.find('&') != word.npos)
        misuse("\"" + visible(word) + "\": a message cannot hold a \"&\"");
}

std::string joined(const std::vector<std::string> &words)
{
    std::string parameters;
    for (const std::string &word : words) {
        check_parameter(word);
        parameters += (parameters.empty() ? "" : "&") + word;
    }
    return parameters;
}

/** Whether a subscriber hears within a moment that the startup file was replaced. */
bool is_confirmed(connection &subscriber)
{
    std::string heard;
    while (subscriber.has_input(confirmation_time)) {
        const std::string block = subscriber.receive();
        if (block.empty()) return true; // there is no room for another subscriber: nobody can say
        heard += block;
        if (heard.find("<conf_changed") != heard.npos) return true;
    }
    return false;
}

/** Whether the plug-in did it; what it says otherwise is shown. */
bool ask_plugin(session &with, const char *action)
{
    const std::string reply = with.daemon.inform(std::string{"object=config&action="} + action);
    if (reply == accepted) return true;
    show_error(reply);
    if (reply == unknown_object) refuse("no plug-in of the daemon handles \"config\"");
    return false;
}

/** A plug-in that cannot use the default configuration may take the rescue one, and still fail. */
[[noreturn]] void refuse_replacement(const connection &subscriber)
{
    refuse(subscriber.has_input(rescue_time)
               ? "the rescue configuration, where there is one, is the startup configuration now"
               : "");
}

/**
 * The handler's "OK" does not tell whether the file could be written; the notification does. A
 * message that is for nobody goes first: when it was answered, the daemon will have met the
 * subscriber before the next one. Should it be too busy even for that, it has by the second try,
 * and to replace the file twice does no harm.
 */
void replace_startup(session &with, const char *action, const char *done)
{
    connection subscriber = with.daemon.subscribe();
    with.daemon.inform("veskctl=hello");
    for (int tries = 0; tries < 2; ++tries) {
        if (!ask_plugin(with, action)) refuse_replacement(subscriber);
        if (!is_confirmed(subscriber)) continue;
        write_out(done);
        return;
    }
    refuse("the daemon has not reported that the startup configuration was replaced; its log says "
           "why");
}

/** The default image is replaced without a notification: the reply has to do. */
void replace_default(session &with)
{
    if (!ask_plugin(with, "default")) refuse("");
    write_out("saved as the default configuration\n");
}

} // namespace

void inform(session &with)
{
    const std::string reply = with.daemon.inform(joined(with.given.words));
    if (reply != accepted) {
        show_error(reply);
        refuse("");
    }
    write_out(reply + "\n");
}

void save(session &with)
{
    if (with.given.as_default)
        replace_default(with);
    else
        replace_startup(with, "save", "saved\n");
}

void reset(session &with)
{
    replace_startup(with, with.given.rescue ? "rescue" : "reset",
                    "reset; it takes effect when the daemon starts again\n");
}

} // namespace vesk::client
