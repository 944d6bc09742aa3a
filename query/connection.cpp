#include "query/connection.h"

#include <cerrno>
#include <memory>
#include <new>
#include <sys/socket.h>

#include "core/log.h"
#include "eloop/eloop.h"
#include "eloop/write.h"
#include "query/limits.h"

// Life of a connection: it is read as soon as it is accepted, and often all is done by then. Else
// its handlers run from the loop, one at a time. Each ends in settle(), which may free it, so that
// nothing follows a call of settle().

namespace vesk {
namespace {

constexpr unsigned pause_seconds = 1;

bool would_block()
{
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

/** A large buffer is rare, and not kept. */
void clear(std::string &buffer)
{
    buffer.clear();
    if (buffer.capacity() > read_budget) std::string{}.swap(buffer);
}

} // namespace

connection::connection(server &owner, unique_fd fd)
    : owner_{owner}, fd_{std::move(fd)}, again_{on_again, this}
{
}

connection::~connection()
{
    want_read(false);
    want_write(false);
    cancel(again_);
}

char *connection::text(size_t offset, size_t length)
{
    char *start = input_.data() + consumed_ + offset;
    start[length] = '\0';
    return start;
}

void connection::consume(size_t count)
{
    consumed_ += count;
    if (consumed_ < input_.size()) return;
    clear(input_);
    consumed_ = 0;
}

bool connection::send(std::string_view text, size_t limit)
{
    if (broken_ || output_.size() - written_ + text.size() > limit) return false;
    output_ += text;
    if (!write_some()) return false;
    want_write(written_ < output_.size());
    return true;
}

void connection::on_readable(int, void *, void *self)
{
    static_cast<connection *>(self)->read_some();
}

void connection::on_writable(int, void *, void *self)
{
    auto &c = *static_cast<connection *>(self);
    if (!c.write_some()) {
        c.settle(progress::abort);
        return;
    }
    c.settle(c.closing_ ? progress::close : progress::again);
}

void connection::on_again(void *self)
{
    auto &c = *static_cast<connection *>(self);
    skip_read_sock(c.fd()); // there is enough to do
    c.work();
}

void connection::on_stalled(void *, void *self)
{
    auto &c = *static_cast<connection *>(self);
    if (!c.progressed_ || !c.watch_stall()) c.settle(progress::abort);
}

void connection::read_some()
{
    static char buffer[read_budget];
    const ssize_t got = recv(fd(), buffer, sizeof buffer, 0);
    if (got < 0 && would_block()) {
        settle(progress::wait);
        return;
    }
    may_hold_more_ = got == sizeof buffer;
    if (got <= 0) {
        at_end_ = true;
    } else {
        try {
            input_.erase(0, consumed_);
            consumed_ = 0;
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
    const size_t before = output_.size();
    try {
        made = owner_.its_protocol().input(*this);
    } catch (const std::bad_alloc &) {
        output_.resize(before); // this request is lost with its connection
    }
    // While the loop watches for room there is none.
    if (made != progress::abort && !writes_ && !write_some()) made = progress::abort;
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
    clear(output_);
    written_ = 0;
    return true;
}

/** Brings the registrations in line with what there is to do; ends the connection when that is all.
 */
void connection::settle(progress made)
{
    const bool writing = written_ < output_.size();
    if (made == progress::again && input().empty()) made = progress::wait;
    if (made == progress::close || (made == progress::wait && at_end_)) closing_ = true;
    if (made == progress::abort || broken_ || (closing_ && !writing)) {
        if (made != progress::abort) discard_input();
        owner_.end(*this);
        return;
    }
    const bool may_read = !closing_ && (!writing || owner_.its_protocol().reads_while_writing);
    if (made == progress::again && may_read) run_in_next_pass(again_);
    if (want_write(writing) && want_read(may_read && !at_end_)) return;
    // Without memory for what it waits for, a connection would hold its place for ever.
    vesk_debug_1printf("Connection (fd %d) cannot be watched.\n", fd());
    owner_.end(*this);
}

/** False when the loop cannot. */
bool connection::want_read(bool wanted)
{
    if (wanted == reads_) return true;
    if (!wanted)
        unregister_own_read_sock(fd());
    else if (eloop_register_read_sock(fd(), on_readable, nullptr, this) != 0)
        return false;
    reads_ = wanted;
    return true;
}

/** False when the loop cannot. */
bool connection::want_write(bool wanted)
{
    if (wanted == writes_) return true;
    if (!wanted) {
        unregister_write_sock(fd());
        eloop_cancel_timeout(on_stalled, nullptr, this);
    } else if (!watch_stall()) {
        return false;
    } else if (register_write_sock(fd(), on_writable, this) != 0) {
        eloop_cancel_timeout(on_stalled, nullptr, this);
        return false;
    }
    writes_ = wanted;
    return true;
}

bool connection::watch_stall()
{
    progressed_ = false;
    return eloop_register_timeout(max_stall_seconds, 0, on_stalled, nullptr, this) == 0;
}

/** Bytes left unread at the close would turn the peer's end of data into an error. */
void connection::discard_input()
{
    if (at_end_ || (input().empty() && !may_hold_more_))
        return; // a peer that keeps to the protocol
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
    auto *const fresh = new (std::nothrow) connection{*this, std::move(fd)};
    if (!fresh) return;
    connections_.append(fresh);
    ++size_;
    if (protocol_.opened) protocol_.opened(*fresh);
    fresh->read_some(); // most clients have sent something by now
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
    const std::unique_ptr<connection> freed{&gone};
}

} // namespace vesk
