#include "audit/scriptfile.h"
#include "tests/audit/instrumenttree.h"

#include <QProcess>
#include <QtTest>

// What the audit says of a script against what becomes of it when it is started as the program
// starts it: on this machine, whose interpreters are really there.

namespace {

const auto path = QStringLiteral("/tmp/script");

void row(const char *name, const QByteArray &content) { QTest::newRow(name) << content; }

/// An interpreter's path of @p length, which leads to the shell.
QByteArray longPath(int length) { return "/bin" + QByteArray(length - 6, '/') + "sh"; }

/// Blanks until the line has @p length bytes, and then the end of the line.
QByteArray padded(QByteArray line, int length)
{
    return line + QByteArray(length - line.size(), ' ') + "\nexit 0\n";
}

} // namespace

class TestAuditKernel : public QObject
{
    Q_OBJECT

private slots:
    void startsIfTheAuditSaysSo_data()
    {
        QTest::addColumn<QByteArray>("content");
        row("shell", "#!/bin/sh\nexit 0\n");
        row("blanks before the interpreter", "#! \t/bin/sh\nexit 0\n");
        row("argument", "#!/bin/sh -e\nexit 0\n");
        row("one line without end", "#!/bin/sh");
        row("empty", "");
        row("one byte", "#");
        row("two bytes", "#!");
        row("only blanks", "#!   \t\nexit 0\n");
        row("no interpreter line", "exit 0\n");
        row("blank before the marker", " #!/bin/sh\nexit 0\n");
        row("line break before the marker", "\n#!/bin/sh\nexit 0\n");
        row("byte order mark", "\xef\xbb\xbf#!/bin/sh\nexit 0\n");
        row("Windows lines", "#!/bin/sh\r\nexit 0\r\n");
        row("Windows lines behind a blank", "#!/bin/sh \r\nexit 0\r\n");
        row("Windows lines behind an argument", "#!/bin/sh -e\r\nexit 0\r\n");
        row("Windows lines from the second on", "#!/bin/sh\nexit 0\r\n");
        row("interpreter missing", "#!/bin/no-such-shell\nexit 0\n");
        row("interpreter a directory", "#!/bin\nexit 0\n");
        row("interpreter not executable", "#!/etc/fonts/fonts.conf\nexit 0\n");
        row("interpreter behind a directory that is none", "#!/bin/sh/sh\nexit 0\n");
        row("env", "#!/usr/bin/env sh\nexit 0\n");
        row("NUL behind the interpreter", QByteArray("#!/bin/sh\0x\nexit 0\n", 19));
        for (int length = 250; length <= 260; ++length) {
            row(qPrintable(QStringLiteral("path up to byte %1").arg(length)),
                "#!" + longPath(length - 2) + "\nexit 0\n");
            row(qPrintable(QStringLiteral("blanks up to byte %1").arg(length)),
                padded("#!/bin/sh", length));
            row(qPrintable(QStringLiteral("blanks up to byte %1, then the path").arg(length)),
                "#!" + QByteArray(length - 2, ' ') + "/bin/sh\nexit 0\n");
        }
    }

    void startsIfTheAuditSaysSo()
    {
        QFETCH(QByteArray, content);
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        file.close();

        QProcess process;
        process.start(path, QStringList());
        process.waitForFinished(-1);
        const bool hasStarted = process.error() != QProcess::FailedToStart;

        QString reason;
        auto tree = Tree::open(QStringLiteral("/"), Tree::StayInside, reason);
        QVERIFY2(tree, qPrintable(reason));
        const auto fault = scriptFault(*tree, path);
        QCOMPARE(!fault || fault->starts, hasStarted);
        if (hasStarted && !fault)
            QCOMPARE(process.exitCode(), 0);
    }

    void cleanup() { QFile::remove(path); }
};

QTEST_GUILESS_MAIN(TestAuditKernel)
#include "tst_auditkernel.moc"
