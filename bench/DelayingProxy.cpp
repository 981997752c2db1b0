// One thread waits for all sockets and for the next piece that is due. What is read from a socket goes into a
// queue with the time at which it is passed on; so does the end of what its side sends, which then only
// closes the other's sending side: a connection of which one half is closed goes on in the other. A socket is
// asked for more only while its queue is below a bound, which is far above what is under way on any real
// line, so that a reader that is slow is felt by the writer. A socket that has nothing to tell or to ask is
// left out of the wait: the kernel would report it again and again where both its halves are closed.

#include "bench/DelayingProxy.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace KOZAV::Bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t pieceLength = 256UL * 1024;
constexpr std::size_t mostUnderWay = 64UL * 1024 * 1024;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// One direction of a connection.
class Way final
{
public:
    Way(int from, int to, std::chrono::microseconds delay)
        : m_from(from)
        , m_to(to)
        , m_delay(delay)
    {
    }

    [[nodiscard]] bool reads() const { return !m_ended && m_length < mostUnderWay; }
    [[nodiscard]] bool writes(Clock::time_point now) const
    {
        return !m_pieces.empty() && m_pieces.front().due <= now;
    }
    /// When the next piece can be passed on; the end of times where there is none.
    [[nodiscard]] Clock::time_point due() const
    {
        return m_pieces.empty() ? Clock::time_point::max() : m_pieces.front().due;
    }
    /// Whether the end of what the side sends has been passed on.
    [[nodiscard]] bool isDone() const { return m_ended && m_pieces.empty(); }

    /// Takes what is there. @return how much that was, or -1 where the connection is lost
    ssize_t take()
    {
        static thread_local std::array<char, pieceLength> buffer;
        const ssize_t length = recv(m_from, buffer.data(), buffer.size(), 0);
        if (length < 0)
            return errno == EAGAIN || errno == EINTR ? 0 : -1;
        const auto size = static_cast<std::size_t>(length);
        m_pieces.push_back({Clock::now() + m_delay, std::string(buffer.data(), size), 0});
        m_length += size;
        m_ended = length == 0;
        return length;
    }

    /// Passes on what is due. @return false where the connection is lost
    bool pass(Clock::time_point now)
    {
        while (writes(now)) {
            Piece& piece = m_pieces.front();
            if (piece.bytes.empty()) {
                shutdown(m_to, SHUT_WR);
            } else {
                const ssize_t sent = send(m_to, piece.bytes.data() + piece.sent,
                                          piece.bytes.size() - piece.sent, MSG_NOSIGNAL);
                if (sent < 0)
                    return errno == EAGAIN || errno == EINTR;
                piece.sent += static_cast<std::size_t>(sent);
                m_length -= static_cast<std::size_t>(sent);
                if (piece.sent < piece.bytes.size())
                    return true;
            }
            m_pieces.pop_front();
        }
        return true;
    }

private:
    struct Piece
    {
        Clock::time_point due;
        std::string bytes; ///< none: the end
        std::size_t sent;
    };

    int m_from;
    int m_to;
    std::chrono::microseconds m_delay;
    std::deque<Piece> m_pieces;
    std::size_t m_length = 0;
    bool m_ended = false;
};

void sendAtOnce(int socket)
{
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

/// Has the close of a socket be a loss for the other side.
void loseAtClose(int socket)
{
    const linger none{1, 0};
    setsockopt(socket, SOL_SOCKET, SO_LINGER, &none, sizeof none);
}

} // namespace

DelayingProxy::Descriptor::~Descriptor()
{
    if (m_number >= 0)
        close(m_number);
}

DelayingProxy::Descriptor::Descriptor(Descriptor&& other) noexcept
    : m_number(std::exchange(other.m_number, -1))
{
}

class DelayingProxy::ServerAddress final
{
public:
    ServerAddress(const std::string& host, const std::string& port)
    {
        addrinfo wanted{};
        wanted.ai_socktype = SOCK_STREAM;
        if (const int code = getaddrinfo(host.c_str(), port.c_str(), &wanted, &m_found); code != 0)
            throw std::runtime_error(host + ": " + gai_strerror(code));
    }
    ~ServerAddress() { freeaddrinfo(m_found); }
    ServerAddress(const ServerAddress&) = delete;
    ServerAddress& operator=(const ServerAddress&) = delete;

    /// @return a socket that is being connected; -1 where that cannot even begin
    [[nodiscard]] int connect() const
    {
        const int made = socket(m_found->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (made >= 0 && ::connect(made, m_found->ai_addr, m_found->ai_addrlen) != 0 &&
            errno != EINPROGRESS) {
            close(made);
            return -1;
        }
        return made;
    }

private:
    addrinfo* m_found = nullptr;
};

/// A connection of a client, and the one to the server that goes with it.
class DelayingProxy::Pair final
{
public:
    Pair(Descriptor client, Descriptor server, std::chrono::microseconds delay, std::size_t number)
        : m_client(std::move(client))
        , m_server(std::move(server))
        , m_toServer(m_client.number(), m_server.number(), delay)
        , m_toClient(m_server.number(), m_client.number(), delay)
        , m_number(number)
    {
        sendAtOnce(m_client.number());
        sendAtOnce(m_server.number());
    }

    [[nodiscard]] std::array<pollfd, 2> wishes(Clock::time_point now) const
    {
        return {wish(m_client, m_toServer, m_toClient, now), wish(m_server, m_toClient, m_toServer, now)};
    }
    [[nodiscard]] Clock::time_point due() const { return std::min(m_toServer.due(), m_toClient.due()); }
    [[nodiscard]] std::size_t number() const { return m_number; }

    /// Takes what has come, and counts it. @return false where the connection has ended
    bool take(short fromClient, short fromServer, Traffic& traffic)
    {
        constexpr short comes = POLLIN | POLLHUP | POLLERR;
        // The server first: what the client sends next is the answer to it.
        if ((fromServer & comes) != 0 && m_toClient.reads() &&
            !take(m_toClient, traffic.toClient, false, traffic))
            return lose();
        if ((fromClient & comes) != 0 && m_toServer.reads() &&
            !take(m_toServer, traffic.toServer, true, traffic))
            return lose();
        return true;
    }

    /// @return false where the connection has ended
    bool pass(Clock::time_point now)
    {
        if (!m_toServer.pass(now) || !m_toClient.pass(now))
            return lose();
        return !(m_toServer.isDone() && m_toClient.isDone());
    }

private:
    static pollfd wish(const Descriptor& socket, const Way& from, const Way& to, Clock::time_point now)
    {
        const int events = (from.reads() ? POLLIN : 0) | (to.writes(now) ? POLLOUT : 0);
        return {events == 0 ? -1 : socket.number(), static_cast<short>(events), 0};
    }

    bool take(Way& way, std::uint64_t& bytes, bool isClient, Traffic& traffic)
    {
        const ssize_t length = way.take();
        if (length > 0) {
            bytes += static_cast<std::uint64_t>(length);
            if (isClient && !m_clientSpoke)
                ++traffic.exchanges;
            m_clientSpoke = isClient;
        }
        return length >= 0;
    }

    bool lose()
    {
        loseAtClose(m_client.number());
        loseAtClose(m_server.number());
        return false;
    }

    Descriptor m_client;
    Descriptor m_server;
    Way m_toServer;
    Way m_toClient;
    std::size_t m_number;
    bool m_clientSpoke = false;
};

DelayingProxy::DelayingProxy(std::uint16_t port, const std::string& serverHost, const std::string& serverPort,
                             std::chrono::microseconds delay)
    : m_server(std::make_unique<ServerAddress>(serverHost, serverPort))
    , m_delay(delay)
    , m_listener(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    , m_end(eventfd(0, EFD_CLOEXEC))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address); // NOLINT(*-reinterpret-cast): the sockets' way
    const int on = 1;
    setsockopt(m_listener.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (m_end.number() < 0 || bind(m_listener.number(), any, length) != 0 ||
        listen(m_listener.number(), SOMAXCONN) != 0 || getsockname(m_listener.number(), any, &length) != 0)
        fail("listening");
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { run(); });
}

DelayingProxy::~DelayingProxy()
{
    eventfd_write(m_end.number(), 1);
    m_thread.join();
}

void DelayingProxy::accept()
{
    Descriptor client(accept4(m_listener.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (client.number() < 0)
        return;
    Descriptor server(m_server->connect());
    if (server.number() < 0) {
        loseAtClose(client.number());
        return;
    }
    const std::lock_guard lock(m_lock);
    m_pairs.push_back(
        std::make_unique<Pair>(std::move(client), std::move(server), m_delay, m_traffic.size()));
    m_traffic.emplace_back();
}

void DelayingProxy::run()
{
    std::vector<pollfd> polled;
    for (;;) {
        Clock::time_point now = Clock::now();
        polled = {{m_end.number(), POLLIN, 0}, {m_listener.number(), POLLIN, 0}};
        Clock::time_point due = Clock::time_point::max();
        for (const auto& pair : m_pairs) {
            const auto wishes = pair->wishes(now);
            polled.insert(polled.end(), wishes.begin(), wishes.end());
            // What is due already waits for its socket.
            if (pair->due() > now)
                due = std::min(due, pair->due());
        }
        const auto wait = std::chrono::duration_cast<std::chrono::nanoseconds>(due - now).count();
        const timespec timeout{static_cast<time_t>(wait / 1'000'000'000), wait % 1'000'000'000};
        if (ppoll(polled.data(), polled.size(), due == Clock::time_point::max() ? nullptr : &timeout,
                  nullptr) < 0 &&
            errno != EINTR)
            fail("ppoll");
        if (polled[0].revents != 0)
            return;
        {
            const std::lock_guard lock(m_lock);
            std::size_t at = 2;
            for (auto& pair : m_pairs) {
                if (!pair->take(polled[at].revents, polled[at + 1].revents, m_traffic[pair->number()]))
                    pair.reset();
                at += 2;
            }
        }
        now = Clock::now();
        m_pairs.erase(std::remove_if(m_pairs.begin(), m_pairs.end(),
                                     [now](auto& pair) { return !pair || !pair->pass(now); }),
                      m_pairs.end());
        if (polled[1].revents != 0)
            accept();
    }
}

Traffic DelayingProxy::traffic() const
{
    Traffic sum;
    for (const Traffic& one : connections()) {
        sum.exchanges += one.exchanges;
        sum.toServer += one.toServer;
        sum.toClient += one.toClient;
    }
    return sum;
}

std::vector<Traffic> DelayingProxy::connections() const
{
    const std::lock_guard lock(m_lock);
    return {m_traffic.begin(), m_traffic.end()};
}

std::string DelayingProxy::report() const
{
    const auto figures = [](const Traffic& traffic) {
        return "\"exchanges\": " + std::to_string(traffic.exchanges) +
               ", \"to_server\": " + std::to_string(traffic.toServer) +
               ", \"to_client\": " + std::to_string(traffic.toClient);
    };
    std::string text = "{" + figures(traffic()) + ", \"connections\": [";
    const char* between = "";
    for (const Traffic& one : connections()) {
        text += between + ("{" + figures(one) + "}");
        between = ", ";
    }
    return text + "]}";
}

} // namespace KOZAV::Bench
