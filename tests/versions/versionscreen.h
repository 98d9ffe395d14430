#pragma once

#include "versions/changeversionpartition.h"

#include <QByteArray>
#include <QPushButton>
#include <QTableWidget>

// The version screen as one of its callers opens it, and the files that it reads.

/// The screen on the display, opened by a widget of that title.
class VersionScreen
{
public:
    explicit VersionScreen(const QString &callerTitle = QStringLiteral("Dialog"));

    QTableWidget *table() const;
    QPushButton *changeButton() const;
    /// The row of which any cell is selected, -1 if none is.
    int selectedRow() const;
    /// The texts of the columns that are shown, "|" between them; "-" where there is no item.
    QString rowText(int row) const;

    QWidget caller;
    ChangeVersionPartition dialog;

private:
    static QWidget *prepared(QWidget *caller, const QString &title);
};

extern const QString activePartitionFile;

/// Manifests of three versions; row 1 of the screen, partition "7", is active.
void installThreeVersions();
void writeManifest(const char *partition, const QByteArray &lines);
void removeManifest(const char *partition);
