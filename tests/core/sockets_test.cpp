#include "vesk/socket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "base/unique_fd.h"
#include "tests/support/log.h"
#include "tests/support/output.h"

namespace {

namespace fs = std::filesystem;
using vesk::unique_fd;
using vesk::test::complained;

int option(int fd, int level, int name)
{
    int value = -1;
    socklen_t length = sizeof value;
    return getsockopt(fd, level, name, &value, &length) ? -1 : value;
}

bool is_listening(int fd)
{
    return option(fd, SOL_SOCKET, SO_ACCEPTCONN) == 1;
}

bool is_nonblocking(int fd)
{
    return fcntl(fd, F_GETFL) & O_NONBLOCK;
}

bool is_closed_on_exec(int fd)
{
    return fcntl(fd, F_GETFD) & FD_CLOEXEC;
}

sockaddr_in inet_address(int fd)
{
    sockaddr_in address{};
    socklen_t length = sizeof address;
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length), 0);
    return address;
}

unsigned short port_of(int fd)
{
    return ntohs(inet_address(fd).sin_port);
}

/** The whole path field of a local socket's address; fewer than 108 bytes if it was bound so. */
std::string path_field(int fd)
{
    sockaddr_un address{};
    socklen_t length = sizeof address;
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length), 0);
    return {address.sun_path, length - offsetof(sockaddr_un, sun_path)};
}

/** What an abstract name is bound as. */
std::string abstract_field(const std::string &name)
{
    std::string field = std::string(1, '\0') + name;
    field.resize(108);
    return field;
}

/** 0, or the error of a connection with the first length bytes of the path field. */
int connect_to(int client, const std::string &field, size_t length)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, field.data(), length);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    return connect(client, reinterpret_cast<sockaddr *>(&address), size) ? errno : 0;
}

size_t open_descriptors()
{
    const fs::directory_iterator entries{"/proc/self/fd"};
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

/** No further descriptor can be opened while this lives. */
class no_more_descriptors {
  public:
    no_more_descriptors()
    {
        getrlimit(RLIMIT_NOFILE, &before_);
        const unique_fd next{open("/dev/null", O_RDONLY | O_CLOEXEC)};
        const rlimit limit{static_cast<rlim_t>(next.get()), before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~no_more_descriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    no_more_descriptors(const no_more_descriptors &) = delete;
    no_more_descriptors &operator=(const no_more_descriptors &) = delete;

  private:
    rlimit before_{};
};

/** A name that no other process has, and an empty folder. */
class sockets_test : public ::testing::Test {
  protected:
    sockets_test()
    {
        char pattern[] = "/tmp/vesk-sockets-test-XXXXXX";
        folder = fs::canonical(mkdtemp(pattern));
        path = folder / "socket";
    }
    ~sockets_test() override { fs::remove_all(folder); }

    std::string name = "vesk_sockets_test_" + std::to_string(getpid());
    fs::path folder, path;
    vesk::test::log_capture log;
};

using SocketSetNonblock = sockets_test;
using SocketSetBlock = sockets_test;
using SocketGetUnix = sockets_test;
using SocketGetUdp = sockets_test;
using SocketGetTcp = sockets_test;

TEST_F(SocketSetNonblock, AddsTheFlagAndKeepsTheOthers)
{
    const unique_fd fd{open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)};
    EXPECT_EQ(vesk_socket_set_nonblock(fd.get()), 0);
    EXPECT_EQ(vesk_socket_set_nonblock(fd.get()), 0);
    EXPECT_EQ(fcntl(fd.get(), F_GETFL) & (O_NONBLOCK | O_APPEND), O_NONBLOCK | O_APPEND);
}

TEST_F(SocketSetNonblock, ReportsWhatIsNoDescriptor)
{
    EXPECT_EQ(complained([] { EXPECT_EQ(vesk_socket_set_nonblock(-1), 1); }),
              "vesk: fcntl: Bad file descriptor\n");
    EXPECT_EQ(log.take(), "");
}

TEST_F(SocketSetNonblock, ClosesADescriptorThatRefuses)
{
    const int fd = open("/tmp", O_PATH | O_CLOEXEC);
    EXPECT_EQ(complained([&] { EXPECT_EQ(vesk_socket_set_nonblock(fd), 1); }),
              "vesk: fcntl: Bad file descriptor\n");
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST_F(SocketSetBlock, RemovesTheFlagAndKeepsTheOthers)
{
    const unique_fd fd{
        open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC, 0600)};
    EXPECT_EQ(vesk_socket_set_block(fd.get()), 0);
    EXPECT_EQ(vesk_socket_set_block(fd.get()), 0);
    EXPECT_EQ(fcntl(fd.get(), F_GETFL) & (O_NONBLOCK | O_APPEND), O_APPEND);
}

TEST_F(SocketSetBlock, ReportsWhatIsNoDescriptor)
{
    EXPECT_EQ(complained([] { EXPECT_EQ(vesk_socket_set_block(-1), 1); }),
              "vesk: fcntl: Bad file descriptor\n");
}

TEST_F(SocketSetBlock, ClosesADescriptorThatRefuses)
{
    const int fd = open("/tmp", O_PATH | O_CLOEXEC);
    EXPECT_EQ(complained([&] { EXPECT_EQ(vesk_socket_set_block(fd), 1); }),
              "vesk: fcntl: Bad file descriptor\n");
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST_F(SocketGetUnix, GivesANonBlockingListenerThatChildrenDoNotInherit)
{
    const unique_fd fd{vesk_socket_get_unix(name.c_str(), 1)};
    ASSERT_GE(fd.get(), 0);
    EXPECT_EQ(option(fd.get(), SOL_SOCKET, SO_TYPE), SOCK_STREAM);
    EXPECT_TRUE(is_listening(fd.get()));
    EXPECT_TRUE(is_nonblocking(fd.get()));
    EXPECT_TRUE(is_closed_on_exec(fd.get()));
}

TEST_F(SocketGetUnix, BindsAnAbstractNameWithTheFullLength)
{
    const unique_fd fd{vesk_socket_get_unix(name.c_str(), 1)};
    EXPECT_EQ(path_field(fd.get()), abstract_field(name));
}

TEST_F(SocketGetUnix, IsReachedByTheFullLengthOnly)
{
    const unique_fd fd{vesk_socket_get_unix(name.c_str(), 1)};
    const unique_fd client{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    EXPECT_EQ(connect_to(client.get(), abstract_field(name), 1 + name.size()), ECONNREFUSED);
    EXPECT_EQ(connect_to(client.get(), abstract_field(name), 108), 0);
}

TEST_F(SocketGetUnix, CutsAnAbstractNameAt106Characters)
{
    const std::string cut = (name + std::string(106, 'x')).substr(0, 106);
    const unique_fd fd{vesk_socket_get_unix((cut + "y").c_str(), 1)};
    EXPECT_EQ(path_field(fd.get()), abstract_field(cut));
}

TEST_F(SocketGetUnix, CreatesNoFileForAnAbstractName)
{
    const unique_fd fd{vesk_socket_get_unix(path.c_str(), 1)};
    EXPECT_GE(fd.get(), 0);
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(SocketGetUnix, KeepsFiftyConnectionsWaiting)
{
    const unique_fd fd{vesk_socket_get_unix(name.c_str(), 1)};
    std::vector<unique_fd> clients;
    int error = 0;
    while (!error && clients.size() < 100) {
        clients.emplace_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        error = connect_to(clients.back().get(), abstract_field(name), 108);
    }
    EXPECT_EQ(error, EAGAIN);
    EXPECT_EQ(clients.size(), 52u); // the kernel takes one more than the backlog
}

TEST_F(SocketGetUnix, ReportsAnAbstractNameThatIsTaken)
{
    const unique_fd fd{vesk_socket_get_unix(name.c_str(), 1)};
    const size_t descriptors = open_descriptors();
    EXPECT_EQ(complained([&] { EXPECT_EQ(vesk_socket_get_unix(name.c_str(), 1), -1); }),
              "vesk: Unable to bind to domain " + name + ": Address already in use\n");
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(log.take(), "");
}

TEST_F(SocketGetUnix, ReportsTheFirst134CharactersOfALongName)
{
    const std::string given = name + std::string(200, 'x');
    const unique_fd fd{vesk_socket_get_unix(given.c_str(), 1)};
    EXPECT_EQ(complained([&] { EXPECT_EQ(vesk_socket_get_unix(given.c_str(), 1), -1); }),
              "vesk: Unable to bind to domain " + given.substr(0, 134) +
                  ": Address already in use\n");
}

TEST_F(SocketGetUnix, BindsAFileNameThatDoesNotExistAsGiven)
{
    const fs::path before = fs::current_path();
    fs::current_path(folder);
    const unique_fd fd{vesk_socket_get_unix("./socket", 0)};
    fs::current_path(before);
    ASSERT_GE(fd.get(), 0);
    EXPECT_STREQ(path_field(fd.get()).c_str(), "./socket");
    EXPECT_TRUE(fs::is_socket(path));
    EXPECT_TRUE(is_listening(fd.get()));
    EXPECT_TRUE(is_nonblocking(fd.get()));
    EXPECT_TRUE(is_closed_on_exec(fd.get()));
}

TEST_F(SocketGetUnix, RemovesAStaleFile)
{
    std::ofstream{path} << "stale";
    const unique_fd fd{vesk_socket_get_unix(path.c_str(), 0)};
    ASSERT_GE(fd.get(), 0);
    EXPECT_TRUE(fs::is_socket(path));
}

TEST_F(SocketGetUnix, RemovesTheSocketOfAnEarlierRun)
{
    unique_fd{vesk_socket_get_unix(path.c_str(), 0)};
    ASSERT_TRUE(fs::is_socket(path));
    const unique_fd fd{vesk_socket_get_unix(path.c_str(), 0)};
    ASSERT_GE(fd.get(), 0);
    const unique_fd client{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    EXPECT_EQ(connect_to(client.get(), path, path.native().size()), 0);
}

TEST_F(SocketGetUnix, FollowsALinkToTheStaleFile)
{
    std::ofstream{path} << "stale";
    fs::create_symlink(path, folder / "link");
    const unique_fd fd{vesk_socket_get_unix((folder / "link").c_str(), 0)};
    ASSERT_GE(fd.get(), 0);
    EXPECT_STREQ(path_field(fd.get()).c_str(), path.c_str());
    EXPECT_TRUE(fs::is_socket(path));
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
}

TEST_F(SocketGetUnix, CutsAFileNameAt107Characters)
{
    const std::string given = path.native() + std::string(107, 'x');
    const unique_fd fd{vesk_socket_get_unix(given.c_str(), 0)};
    ASSERT_GE(fd.get(), 0);
    EXPECT_TRUE(fs::is_socket(given.substr(0, 107)));
}

TEST_F(SocketGetUnix, LooksAtTheFirstFlagOnly)
{
    const unique_fd file{vesk_socket_get_unix(path.c_str(), 2)};
    EXPECT_TRUE(fs::is_socket(path));
    const unique_fd abstract{vesk_socket_get_unix(name.c_str(), 3)};
    EXPECT_EQ(path_field(abstract.get()), abstract_field(name));
}

TEST_F(SocketGetUnix, ReportsAFileNameThatCannotBeBound)
{
    const std::string given = folder / "missing" / "socket";
    const size_t descriptors = open_descriptors();
    EXPECT_EQ(complained([&] { EXPECT_EQ(vesk_socket_get_unix(given.c_str(), 0), -1); }),
              "vesk: Unable to bind to domain " + given + ": No such file or directory\n");
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST_F(SocketGetUnix, ReportsThatThereAreNoMoreDescriptors)
{
    EXPECT_EQ(complained([&] {
                  const no_more_descriptors limit;
                  EXPECT_EQ(vesk_socket_get_unix(name.c_str(), 1), -1);
              }),
              "vesk: socket: Too many open files\n");
}

TEST_F(SocketGetUnix, RefusesANullName)
{
    const size_t descriptors = open_descriptors();
    complained([] { EXPECT_EQ(vesk_socket_get_unix(nullptr, 1), -1); });
    complained([] { EXPECT_EQ(vesk_socket_get_unix(nullptr, 0), -1); });
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST_F(SocketGetUdp, GivesABlockingUnboundSocketThatChildrenDoNotInherit)
{
    const unique_fd fd{vesk_socket_get_udp()};
    ASSERT_GE(fd.get(), 0);
    EXPECT_EQ(option(fd.get(), SOL_SOCKET, SO_DOMAIN), AF_INET);
    EXPECT_EQ(option(fd.get(), SOL_SOCKET, SO_TYPE), SOCK_DGRAM);
    EXPECT_EQ(port_of(fd.get()), 0);
    EXPECT_FALSE(is_nonblocking(fd.get()));
    EXPECT_TRUE(is_closed_on_exec(fd.get()));
}

TEST_F(SocketGetUdp, ReportsThatThereAreNoMoreDescriptors)
{
    EXPECT_EQ(complained([] {
                  const no_more_descriptors limit;
                  EXPECT_EQ(vesk_socket_get_udp(), -1);
              }),
              "vesk: socket: Too many open files\n");
}

TEST_F(SocketGetTcp, GivesANonBlockingListenerThatChildrenDoNotInherit)
{
    const unique_fd fd{vesk_socket_get_tcp(0, 1)};
    ASSERT_GE(fd.get(), 0);
    EXPECT_EQ(option(fd.get(), SOL_SOCKET, SO_TYPE), SOCK_STREAM);
    EXPECT_TRUE(is_listening(fd.get()));
    EXPECT_TRUE(is_nonblocking(fd.get()));
    EXPECT_TRUE(is_closed_on_exec(fd.get()));
    EXPECT_EQ(option(fd.get(), SOL_SOCKET, SO_REUSEADDR), 1);
}

TEST_F(SocketGetTcp, BindsTheLoopbackAddressOnly)
{
    const unique_fd fd{vesk_socket_get_tcp(0, 1)};
    EXPECT_EQ(inet_address(fd.get()).sin_addr.s_addr, htonl(INADDR_LOOPBACK));
}

TEST_F(SocketGetTcp, BindsAnyAddressWithoutLoopbackOnly)
{
    const unique_fd fd{vesk_socket_get_tcp(0, 0)};
    EXPECT_EQ(inet_address(fd.get()).sin_addr.s_addr, htonl(INADDR_ANY));
}

TEST_F(SocketGetTcp, BindsThePortThatIsAskedFor)
{
    unique_fd free{vesk_socket_get_tcp(0, 1)};
    const unsigned short port = port_of(free.get());
    free.reset();
    const unique_fd fd{vesk_socket_get_tcp(port, 1)};
    ASSERT_GE(fd.get(), 0);
    EXPECT_EQ(port_of(fd.get()), port);
}

TEST_F(SocketGetTcp, KeepsFiftyConnectionsWaiting)
{
    const unique_fd fd{vesk_socket_get_tcp(0, 1)};
    tcp_info info{};
    socklen_t length = sizeof info;
    ASSERT_EQ(getsockopt(fd.get(), IPPROTO_TCP, TCP_INFO, &info, &length), 0);
    EXPECT_EQ(info.tcpi_sacked, 50u); // of a listener: its backlog
}

TEST_F(SocketGetTcp, ReportsAPortThatIsTaken)
{
    const unique_fd fd{vesk_socket_get_tcp(0, 1)};
    const unsigned short port = port_of(fd.get());
    const size_t descriptors = open_descriptors();
    EXPECT_EQ(complained([&] { EXPECT_EQ(vesk_socket_get_tcp(port, 1), -1); }),
              "vesk: Unable to bind to port " + std::to_string(port) +
                  ": Address already in use\n");
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(log.take(), "");
}

TEST_F(SocketGetTcp, ReportsThatThereAreNoMoreDescriptors)
{
    EXPECT_EQ(complained([] {
                  const no_more_descriptors limit;
                  EXPECT_EQ(vesk_socket_get_tcp(0, 1), -1);
              }),
              "vesk: socket: Too many open files\n");
}

} // namespace
