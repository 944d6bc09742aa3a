#include "query/connection.h"

#include <cerrno>
#include <memory>
#include <new>
#include <sys/socket.h>

#include "core/log.h"
#include "eloop/eloop.h"
#include "eloop/write.h"
#include "query/limits.h"

// Life of a connection: its handlers run from the loop, one at a time; each ends in settle(), which
// may free it, so that nothing follows a call of settle().

namespace vesk {
namespace {

constexpr unsigned pause_seconds = 1;

linked<connection> ended;

void free_ended(void *, void *)
{
    free_ended_connections();
}

bool would_block()
{
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

} // namespace

connection::connection(server &owner, unique_fd fd) : owner_{owner}, fd_{std::move(fd)} {}

connection::~connection()
{
    want_read(false);
    want_write(false);
    if (again_) eloop_cancel_timeout(on_again, nullptr, this);
}

bool connection::send(std::string_view text, size_t limit)
{
    if (ended_ || broken_ || output_.size() - written_ + text.size() > limit) return false;
    output_ += text;
    if (!write_some()) return false;
    want_write(written_ < output_.size());
    return true;
}

void connection::on_readable(int, void *, void *self)
{
    auto &c = *static_cast<connection *>(self);
    if (!c.ended_) c.read_some();
}

void connection::on_writable(int, void *, void *self)
{
    auto &c = *static_cast<connection *>(self);
    if (c.ended_) return;
    if (!c.write_some()) {
        c.settle(progress::abort);
        return;
    }
    c.settle(c.closing_ ? progress::close : progress::again);
}

void connection::on_again(void *, void *self)
{
    auto &c = *static_cast<connection *>(self);
    c.again_ = false;
    if (!c.ended_) c.work();
}

void connection::on_stalled(void *, void *self)
{
    auto &c = *static_cast<connection *>(self);
    c.want_write(false);
    if (c.ended_) return;
    if (!c.progressed_) {
        c.settle(progress::abort);
        return;
    }
    c.want_write(true);
}

void connection::read_some()
{
    static char buffer[read_budget];
    const ssize_t got = recv(fd(), buffer, sizeof buffer, 0);
    if (got < 0 && would_block()) return;
    if (got <= 0) {
        at_end_ = true;
    } else {
        try {
            input_.append(buffer, static_cast<size_t>(got));
        } catch (const std::bad_alloc &) {
            settle(progress::abort);
            return;
        }
    }
    work();
}

void connection::work()
{
    progress made = progress::abort;
    try {
        made = owner_.its_protocol().input(*this);
    } catch (const std::bad_alloc &) {
        // What was sent so far stays; this request is lost with its connection.
    }
    if (input_.empty() && input_.capacity() > read_budget) std::string{}.swap(input_);
    settle(made);
}

bool connection::write_some()
{
    while (written_ < output_.size()) {
        const ssize_t done =
            ::send(fd(), output_.data() + written_, output_.size() - written_, MSG_NOSIGNAL);
        if (done < 0 && would_block()) return true;
        if (done < 0) {
            broken_ = true;
            return false;
        }
        written_ += static_cast<size_t>(done);
        progressed_ = true;
    }
    output_.clear();
    if (output_.capacity() > read_budget) std::string{}.swap(output_); // a large one is rare
    written_ = 0;
    return true;
}

/** Brings the registrations in line with what there is to do; ends the connection when that is all.
 */
void connection::settle(progress made)
{
    const bool writing = written_ < output_.size();
    if (made == progress::close || (made == progress::wait && at_end_)) closing_ = true;
    if (made == progress::abort || broken_ || (closing_ && !writing)) {
        if (made != progress::abort) discard_input();
        owner_.end(*this);
        return;
    }
    const bool may_read = !writing || owner_.its_protocol().reads_while_writing;
    const bool reads = may_read && !closing_ && !at_end_ && made != progress::again;
    want_write(writing);
    want_read(reads);
    if (made == progress::again && !closing_ && may_read && !again_)
        again_ = eloop_register_timeout(0, 0, on_again, nullptr, this) == 0;
    // Without memory for what it waits for, a connection would hold its place for ever.
    if (wants_write_ != writing || wants_read_ != reads ||
        (made == progress::again && may_read && !closing_ && !again_))
        owner_.end(*this);
}

void connection::want_read(bool wanted)
{
    if (wanted == wants_read_) return;
    if (wanted)
        wanted = eloop_register_read_sock(fd(), on_readable, nullptr, this) == 0;
    else
        eloop_unregister_read_sock(fd());
    wants_read_ = wanted;
}

void connection::want_write(bool wanted)
{
    if (wanted == wants_write_) return;
    if (wanted) {
        wanted = eloop_register_timeout(max_stall_seconds, 0, on_stalled, nullptr, this) == 0;
        if (wanted && register_write_sock(fd(), on_writable, this) != 0) {
            eloop_cancel_timeout(on_stalled, nullptr, this);
            wanted = false;
        }
        progressed_ = false;
    } else {
        unregister_write_sock(fd());
        eloop_cancel_timeout(on_stalled, nullptr, this);
    }
    wants_write_ = wanted;
}

/** Bytes left unread at the close would turn the peer's end of data into an error. */
void connection::discard_input()
{
    char buffer[4096];
    for (size_t taken = 0; taken < read_budget;) {
        const ssize_t got = recv(fd(), buffer, sizeof buffer, 0);
        if (got <= 0) return;
        taken += static_cast<size_t>(got);
    }
}

bool server::listen(int fd)
{
    fd_.reset(fd);
    if (fd < 0) return false;
    return eloop_register_read_sock(fd, on_acceptable, nullptr, this) == 0;
}

void server::on_acceptable(int, void *, void *self)
{
    static_cast<server *>(self)->accept_one();
}

void server::on_resume(void *, void *self)
{
    auto &s = *static_cast<server *>(self);
    eloop_register_read_sock(s.fd_.get(), on_acceptable, nullptr, &s);
}

/** Out of descriptors or memory, the socket stays ready and would be tried without end. */
void server::pause()
{
    if (eloop_register_timeout(pause_seconds, 0, on_resume, nullptr, this) == 0)
        eloop_unregister_read_sock(fd_.get());
}

void server::accept_one()
{
    unique_fd fd{accept4(fd_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)};
    if (!fd) {
        if (would_block() || errno == ECONNABORTED) return;
        vesk_debug_perror(protocol_.accept_failed);
        pause();
        return;
    }
    if (!make_room()) return;
    std::unique_ptr<connection> fresh{new (std::nothrow) connection{*this, std::move(fd)}};
    if (!fresh) return;
    fresh->want_read(true);
    if (!fresh->wants_read_) {
        vesk_debug_1printf("Connection (fd %d) cannot be watched.\n", fresh->fd());
        return;
    }
    connection &c = *fresh.release();
    connections_.append(&c);
    ++size_;
    if (protocol_.opened) protocol_.opened(c);
}

bool server::make_room()
{
    if (size_ < protocol_.max_connections) return true;
    if (!protocol_.evicts_oldest) {
        if (protocol_.full) protocol_.full();
        return false;
    }
    connection *oldest = connections_.first;
    while (oldest && oldest->is_subscriber)
        oldest = oldest->next;
    if (!oldest) return false;
    vesk_debug_1printf("Too many connections: closing the oldest (fd %d).\n", oldest->fd());
    end(*oldest);
    return true;
}

void server::end(connection &gone)
{
    if (protocol_.closed) protocol_.closed(gone);
    connections_.unlink(&gone);
    --size_;
    gone.ended_ = true;
    ended.append(&gone);
    eloop_cancel_timeout(free_ended, nullptr, nullptr);
    if (eloop_register_timeout(0, 0, free_ended, nullptr, nullptr) != 0) free_ended_connections();
}

void free_ended_connections()
{
    while (const connection *gone = ended.take_first())
        delete gone;
}

} // namespace vesk
