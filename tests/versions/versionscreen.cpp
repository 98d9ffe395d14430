#include "tests/versions/versionscreen.h"

#include "tests/support/instrument.h"

#include <QFile>
#include <QtTest>

const QString activePartitionFile = QStringLiteral("/mnt/recovery/download/partition_c");

static QString manifestPath(const char *partition)
{
    return QStringLiteral("/mnt/recovery/update_files/%1manifest.txt")
        .arg(QString::fromLatin1(partition));
}

QWidget *VersionScreen::prepared(QWidget *caller, const QString &title)
{
    caller->resize(1024, 600);
    caller->setWindowTitle(title);
    return caller;
}

VersionScreen::VersionScreen(const QString &callerTitle)
    : dialog(prepared(&caller, callerTitle))
{
    dialog.setModal(true);
    dialog.show();
    if (!QTest::qWaitForWindowExposed(&dialog))
        qFatal("the version screen does not come up");
}

QTableWidget *VersionScreen::table() const
{
    return dialog.findChild<QTableWidget *>(QStringLiteral("tableFirmwareVersions"));
}

QPushButton *VersionScreen::changeButton() const
{
    return dialog.findChild<QPushButton *>(QStringLiteral("pButtonChgVersion"));
}

int VersionScreen::selectedRow() const
{
    QSet<int> rows;
    for (const QModelIndex &index : table()->selectionModel()->selectedIndexes())
        rows += index.row();
    if (rows.size() > 1)
        qFatal("two rows are selected");
    return rows.isEmpty() ? -1 : *rows.begin();
}

QString VersionScreen::rowText(int row) const
{
    QStringList texts;
    for (int column = 0; column < 5; ++column) {
        const QTableWidgetItem *item = table()->item(row, column);
        texts += item ? item->text() : QStringLiteral("-");
    }
    return texts.join(QLatin1Char('|'));
}

void installThreeVersions()
{
    writeManifest("1",
                  "core_version=4.05\ncore_build=118\ncore_build_date=20230404\n"
                  "install_date_time=20230512 09:30:00\nimage_bootloader_version=V4.05.00\n");
    writeManifest("7",
                  "core_version=4.06\ncore_build=175\ncore_build_date=20230919\n"
                  "install_date_time=20231002 14:05:30\nimage_bootloader_version=V4.06.00\n");
    writeManifest("8",
                  "core_version=4.04\ncore_build=96\ncore_build_date=20221107\n"
                  "install_date_time=20221201 16:45:10\nimage_bootloader_version=V4.04.00\n");
    Instrument::write(activePartitionFile, "7\n");
}

void writeManifest(const char *partition, const QByteArray &lines)
{
    Instrument::write(manifestPath(partition), lines);
}

void removeManifest(const char *partition) { QFile::remove(manifestPath(partition)); }
