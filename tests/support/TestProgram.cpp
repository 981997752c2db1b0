#include "tests/support/TestProgram.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace KOZAV::Test {

namespace {

// Functions, because registrations of other sources may be made before a variable of this one.
std::map<std::string, Run>& tests()
{
    static std::map<std::string, Run> registered;
    return registered;
}

std::map<std::string, Run>& roles()
{
    static std::map<std::string, Run> registered;
    return registered;
}

int refuse(const char* program)
{
    std::fprintf(stderr, "Usage: %s TEST [--part NUMBER/PARTS] [options of QtTest]\nTests:\n", program);
    for (const auto& test : tests())
        std::fprintf(stderr, "  %s\n", test.first.c_str());
    return 2;
}

/// All rows and functions of a test, as QtTest's options name them; empty where they cannot be listed. A
/// process lists them: QtTest does nothing else in the one that is asked for them.
std::vector<std::string> rowsOf(const std::string& program, const std::string& test)
{
    std::vector<std::string> rows;
    std::FILE* const list = ::popen(('\'' + program + "' " + test + " -datatags").c_str(), "r");
    std::array<char, 1000> line = {};
    while (list != nullptr && std::fgets(line.data(), line.size(), list) != nullptr) {
        // Class, function and, where there is one, the name of the row, which may have spaces.
        const std::string text(line.data(), std::strcspn(line.data(), "\n"));
        std::string row = text.substr(text.find(' ') + 1);
        if (const auto space = row.find(' '); space != std::string::npos)
            row[space] = ':';
        rows.push_back(std::move(row));
    }
    return list != nullptr && ::pclose(list) == 0 ? rows : std::vector<std::string>();
}

int runPart(Run run, const std::string& program, const std::string& test, const char* part)
{
    unsigned number = 0;
    unsigned parts = 0;
    const bool isPart = std::sscanf(part, "%u/%u", &number, &parts) == 2 && number >= 1 && number <= parts;
    const auto rows = isPart ? rowsOf(program, test) : std::vector<std::string>();
    std::vector<std::string> texts = {program};
    for (std::size_t i = number - 1; i < rows.size(); i += parts)
        texts.push_back(rows[i]);
    if (texts.size() == 1) {
        std::fprintf(stderr, "%s has no part %s\n", test.c_str(), part);
        return 2;
    }
    std::vector<char*> arguments;
    arguments.reserve(texts.size() + 1);
    for (std::string& text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);
    return run(static_cast<int>(texts.size()), arguments.data());
}

} // namespace

RegisteredTest::RegisteredTest(const char* name, Run run)
{
    tests().emplace(name, run);
}

RegisteredRole::RegisteredRole(const char* option, Run run)
{
    roles().emplace(option, run);
}

} // namespace KOZAV::Test

int main(int argc, char** argv)
{
    using namespace KOZAV::Test;

    if (argc < 2)
        return refuse(argv[0]);
    const auto role = roles().find(argv[1]);
    if (role != roles().end())
        return role->second(argc, argv);
    const auto test = tests().find(argv[1]);
    if (test == tests().end())
        return refuse(argv[0]);
    if (argc == 4 && std::strcmp(argv[2], "--part") == 0)
        return runPart(test->second, argv[0], argv[1], argv[3]);
    // The name of the test goes; what is left is for QtTest.
    argv[1] = argv[0];
    return test->second(argc - 1, argv + 1);
}
