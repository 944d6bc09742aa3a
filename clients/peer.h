#ifndef VESK_CLIENTS_PEER_H
#define VESK_CLIENTS_PEER_H

#include <string>
#include <string_view>

#include "base/unique_fd.h"

namespace vesk::client {

/** A connection to the daemon; whatever takes longer than its patience ends the command. */
class connection {
  public:
    static connection to_local(std::string_view name, unsigned patience_seconds);
    static connection to_port(unsigned short port, unsigned patience_seconds);

    /** False when the daemon has closed. */
    bool send(std::string_view data);
    /** What comes next, nothing when the daemon has closed. */
    std::string receive();
    std::string receive_all();
    /** Whether there is something to receive, or the end, within a time. */
    bool has_input(int milliseconds) const;
    /** From now on receive() waits as long as it takes. */
    void wait_for_ever();

  private:
    connection(unique_fd fd, unsigned patience) : fd_{std::move(fd)}, patience_{patience} {}

    unique_fd fd_;
    unsigned patience_;
};

/** The daemon, as a client sees it. */
class peer {
  public:
    explicit peer(unsigned patience_seconds) : patience_{patience_seconds} {}

    /** The answer to an LSQL document. */
    std::string ask(const std::string &document) const;
    /** The line that answers "name=value&...". */
    std::string inform(const std::string &parameters) const;
    /** A subscriber to notifications; they come as documents that end in a NUL. */
    connection subscribe() const;

  private:
    unsigned patience_;
};

} // namespace vesk::client

#endif
