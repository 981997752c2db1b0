#pragma once

#include <QCoreApplication>
#include <QString>
#include <QStringList>
#include <QTest>

/// Programs that hold several tests. A test is one QtTest class in a file of its own, registered at the
/// file's end:
///
///     ZAV_REGISTER_TEST(database_opening, DatabaseOpeningTest, QCoreApplication)
///
/// `PROGRAM database_opening [QtTest's options]` runs it and nothing else, in a process of its own. Its name
/// is the file's and the ctest entry's. `--part 2/4` runs every fourth of its rows and functions, from the
/// second on: four such runs, which may go on at the same time, are the whole test. A test that needs a
/// second process starts its own program in a role: `PROGRAM --open ...` calls the function that
/// ZAV_REGISTER_ROLE put under that option.

namespace KOZAV::Test {

using Run = int (*)(int argc, char** argv);

/// Stands in the application's place for tests that need none.
class NoApplication
{
public:
    NoApplication(int& /*argc*/, char** /*argv*/) {}
};

class RegisteredTest
{
public:
    RegisteredTest(const char* name, Run run);
};

class RegisteredRole
{
public:
    RegisteredRole(const char* option, Run run);
};

/// Runs Test within Application; returns what QtTest returns, 0 if everything has passed.
template <class Test, class Application>
int runTest(int argc, char** argv)
{
    const Application application(argc, argv);
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

template <int (*play)(const QStringList& arguments), class Application>
int playRole(int argc, char** argv)
{
    const Application application(argc, argv);
    return play(QCoreApplication::arguments());
}

} // namespace KOZAV::Test

#define ZAV_REGISTER_TEST(NAME, CLASS, APPLICATION)                                                          \
    static const KOZAV::Test::RegisteredTest registeredTest_##NAME(                                          \
        #NAME, &KOZAV::Test::runTest<CLASS, APPLICATION>);

/// PLAY gets the arguments of the process, the option being the first behind the program's path; what it
/// returns is the exit code. Two tests of a program may register the same role.
#define ZAV_REGISTER_ROLE(OPTION, PLAY, APPLICATION)                                                         \
    [[maybe_unused]] static const KOZAV::Test::RegisteredRole ZAV_UNIQUE(registeredRole_, __COUNTER__)(      \
        OPTION, &KOZAV::Test::playRole<PLAY, APPLICATION>);

#define ZAV_UNIQUE(PREFIX, NUMBER) ZAV_JOINED(PREFIX, NUMBER)
#define ZAV_JOINED(PREFIX, NUMBER) PREFIX##NUMBER
