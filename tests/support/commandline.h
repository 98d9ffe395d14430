#pragma once

#include <QApplication>
#include <QStringList>
#include <QtTest>

/// The command line of a test's QApplication, which a test may change. The window reads it when it
/// is made, and Qt looks afresh each time at what main() handed over.
namespace CommandLine {

/// What stands after the program's name from now on.
void set(const QStringList &options);

int &count();
char **texts();

/// The main() of a test of the main window; QtTest's own options are not the program's.
template <typename Test> int run(int argc, char **argv)
{
    set({});
    QApplication application(count(), texts());
    Test test;
    return QTest::qExec(&test, argc, argv);
}

} // namespace CommandLine
