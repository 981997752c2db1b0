#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace KOZAV::Bench {

/// What passed over a connection, or over all.
struct Traffic
{
    /// Turns of the client: it has sent something, first or after the server has. Requests that are sent
    /// without waiting for the answers between them are one.
    std::uint64_t exchanges = 0;
    std::uint64_t toServer = 0; ///< bytes
    std::uint64_t toClient = 0; ///< bytes
};

/// Stands between clients of this machine and a server, passes on what each sends so long after it came, and
/// counts it. Works on a thread of its own.
///
/// A byte and the end of what a side sends take the delay each way, as on a long cable of any width: a piece
/// does not wait for the one before it to arrive. Making a connection and losing one take none.
class DelayingProxy final
{
public:
    /// Listens on 127.0.0.1. Throws std::system_error or std::runtime_error where that, or finding the
    /// server's address, fails.
    /// @param port  0: a free one
    DelayingProxy(std::uint16_t port, const std::string& serverHost, const std::string& serverPort,
                  std::chrono::microseconds delay);
    /// Closes all connections.
    ~DelayingProxy();
    DelayingProxy(const DelayingProxy&) = delete;
    DelayingProxy& operator=(const DelayingProxy&) = delete;

    [[nodiscard]] std::uint16_t port() const { return m_port; }
    [[nodiscard]] Traffic traffic() const;
    /// Of each connection since the start, also of those that have ended.
    [[nodiscard]] std::vector<Traffic> connections() const;
    /// All of that, as a JSON object in a line.
    [[nodiscard]] std::string report() const;

private:
    class Pair;
    class ServerAddress;
    /// A descriptor that is closed with it.
    class Descriptor final
    {
    public:
        explicit Descriptor(int number = -1)
            : m_number(number)
        {
        }
        ~Descriptor();
        Descriptor(Descriptor&& other) noexcept;
        Descriptor& operator=(Descriptor&& other) = delete;
        [[nodiscard]] int number() const { return m_number; }

    private:
        int m_number;
    };

    void run();
    void accept();

    std::unique_ptr<ServerAddress> m_server;
    std::chrono::microseconds m_delay;
    Descriptor m_listener;
    Descriptor m_end; ///< readable when the thread is to end
    std::uint16_t m_port = 0;
    std::vector<std::unique_ptr<Pair>> m_pairs;
    mutable std::mutex m_lock; ///< of the counts
    std::deque<Traffic> m_traffic;
    std::thread m_thread;
};

} // namespace KOZAV::Bench
