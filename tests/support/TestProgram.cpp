#include "tests/support/TestProgram.h"

#include <cstdio>
#include <map>
#include <string>

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
    std::fprintf(stderr, "Usage: %s TEST [options of QtTest]\nTests:\n", program);
    for (const auto& test : tests())
        std::fprintf(stderr, "  %s\n", test.first.c_str());
    return 2;
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
    // The name of the test goes; what is left is for QtTest.
    argv[1] = argv[0];
    return test->second(argc - 1, argv + 1);
}
