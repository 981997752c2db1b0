// Stands between a client and a server as a network of that latency would, and counts what passes.
//
//     delaying_proxy --listen PORT --to HOST:PORT [--delay-ms MS] [--count FILE]
//
// Listens on 127.0.0.1:PORT (0: a free port) and prints the port in a line. Everything that a side sends is
// passed on MS milliseconds later (default 0, fractions allowed). On SIGUSR1 and at its end, which SIGTERM or
// SIGINT asks for, it writes the counts since its start as a JSON object in a line, to FILE, which is
// replaced, or to its standard output:
//
//     {"exchanges": 12, "to_server": 3456, "to_client": 7890, "connections": [{"exchanges": ...}, ...]}
//
// An exchange is a turn of the client: it has sent something, first or after the server has. What passes each
// way is in bytes.

#include "bench/DelayingProxy.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <string>

namespace {

[[noreturn]] void usage()
{
    std::fputs("Usage: delaying_proxy --listen PORT --to HOST:PORT [--delay-ms MS] [--count FILE]\n", stderr);
    std::exit(2);
}

std::map<std::string, std::string> readOptions(int argc, char** argv)
{
    std::map<std::string, std::string> options{
        {"--listen", ""}, {"--to", ""}, {"--delay-ms", "0"}, {"--count", ""}};
    for (int i = 1; i < argc; i += 2) {
        const auto option = options.find(argv[i]);
        if (option == options.end() || i + 1 == argc)
            usage();
        option->second = argv[i + 1];
    }
    return options;
}

/// The whole of a text as a number from 0 to a bound.
double number(const std::string& text, double most)
{
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(value >= 0 && value <= most))
        usage();
    return value;
}

/// @param path  none: standard output
bool writeReport(const std::string& report, const std::string& path)
{
    if (path.empty())
        return std::puts(report.c_str()) >= 0 && std::fflush(stdout) == 0;
    const std::string made = path + ".new";
    std::FILE* const file = std::fopen(made.c_str(), "w");
    if (!file)
        return false;
    const bool written = std::fprintf(file, "%s\n", report.c_str()) > 0;
    return std::fclose(file) == 0 && written && std::rename(made.c_str(), path.c_str()) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = readOptions(argc, argv);
    const std::string& to = options.at("--to");
    const std::size_t colon = to.rfind(':');
    if (colon == std::string::npos)
        usage();
    const auto port = static_cast<std::uint16_t>(number(options.at("--listen"), 65535));
    const std::chrono::microseconds delay(static_cast<long>(number(options.at("--delay-ms"), 60'000) * 1000));

    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGUSR1})
        sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, nullptr); // the proxy's thread inherits it
    try {
        const KOZAV::Bench::DelayingProxy proxy(port, to.substr(0, colon), to.substr(colon + 1), delay);
        std::printf("%u\n", static_cast<unsigned>(proxy.port()));
        std::fflush(stdout);
        int signal = SIGUSR1;
        while (signal == SIGUSR1) {
            sigwait(&signals, &signal);
            if (!writeReport(proxy.report(), options.at("--count"))) {
                std::perror("delaying_proxy: the counts");
                return 1;
            }
        }
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "delaying_proxy: %s\n", failure.what());
        return 1;
    }
    return 0;
}
