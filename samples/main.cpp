#include "samples/Program.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    QTextStream errors(stderr);
    out.setCodec("UTF-8");
    errors.setCodec("UTF-8");
    return KOZAV::Samples::runProgram(QCoreApplication::arguments(), out, errors);
}
