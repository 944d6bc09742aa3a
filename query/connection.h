#ifndef VESK_QUERY_CONNECTION_H
#define VESK_QUERY_CONNECTION_H

#include <string>
#include <string_view>

#include "base/linked.h"
#include "base/unique_fd.h"
#include "eloop/task.h"

namespace vesk {

class connection;
class server;

/** What a protocol made of the bytes that have come in so far. */
enum class progress {
    wait,  // it needs more bytes
    again, // one request is done, another may be complete: look again in the next pass
    close, // nothing more is wanted: close when the answer has been written
    abort  // close at once
};

/** What an interface does with its connections. Plain functions; its state is its own. */
struct protocol {
    const char *accept_failed; // prefix of the system error
    unsigned max_connections;
    bool evicts_oldest;       // when full: the longest open makes room, else the new one is closed
    bool reads_while_writing; // else no request is read before the last answer is written
    progress (*input)(connection &);
    void (*opened)(connection &); // may be null
    void (*closed)(connection &); // may be null
    void (*full)();               // may be null; a new connection is being closed for want of room
};

/**
 * One client: a non-blocking descriptor with an input and an output buffer, driven by the loop.
 * Nobody ever waits for the peer.
 */
class connection {
  public:
    connection(server &owner, unique_fd fd);
    ~connection();
    connection(const connection &) = delete;
    connection &operator=(const connection &) = delete;

    int fd() const { return fd_.get(); }

    /** The bytes not yet consumed. */
    std::string_view input() const { return std::string_view{input_}.substr(consumed_); }

    /**
     * Bytes of the input as a text: a NUL takes the place of the byte behind them, which must not
     * be needed any more. It stays as it is until it is consumed, whoever else is served meanwhile.
     */
    char *text(size_t offset, size_t length);

    /** Drops so many bytes of the input. */
    void consume(size_t count);

    /** Whether the peer has closed its side: no more bytes will come. */
    bool at_end() const { return at_end_; }

    /**
     * For the protocol's input(): an answer is appended here, and goes out when that returns. What
     * it appended is dropped when it throws.
     */
    std::string &output() { return output_; }

    /** At any time: queues all of text, or nothing when more than limit bytes would wait: then
     * false. */
    bool send(std::string_view text, size_t limit);

    size_t scanned = 0;         // for the protocol: how far it has looked through the input
    bool is_subscriber = false; // for the protocol: whether it was promoted

    connection *next = nullptr;
    connection *previous = nullptr;

  private:
    friend class server;

    static void on_readable(int, void *, void *self);
    static void on_writable(int, void *, void *self);
    static void on_again(void *self);
    static void on_stalled(void *, void *self);

    void read_some();
    void work();
    bool write_some();
    void settle(progress made);
    bool want_read(bool wanted);
    bool want_write(bool wanted);
    bool watch_stall();
    void discard_input();

    server &owner_;
    unique_fd fd_;
    std::string input_;
    size_t consumed_ = 0; // of input_
    std::string output_;
    size_t written_ = 0; // of output_
    task again_;
    bool may_hold_more_ = false; // the socket, after the last read
    bool at_end_ = false;
    bool closing_ = false; // when the output is written
    bool broken_ = false;
    bool reads_ = false;      // the loop watches for input
    bool writes_ = false;     // the loop watches for room to write
    bool progressed_ = false; // since the stall timeout was set
};

/** A listening socket and its connections, oldest first. */
class server {
  public:
    explicit server(const protocol &p) : protocol_{p} {}

    /** Takes over a listening socket and serves it. False when the loop cannot. */
    bool listen(int fd);

    unsigned size() const { return size_; }
    const linked<connection> &connections() const { return connections_; }
    const protocol &its_protocol() const { return protocol_; }

    /** Ends a connection and frees it. */
    void end(connection &gone);

  private:
    static void on_acceptable(int fd, void *, void *self);
    static void on_resume(void *, void *self);
    void accept_one();
    bool make_room();
    void pause();

    const protocol &protocol_;
    unique_fd fd_;
    linked<connection> connections_; // oldest first
    unsigned size_ = 0;
};

} // namespace vesk

#endif
