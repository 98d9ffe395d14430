#pragma once

#include "logs/logdocument.h"

#include <QDialog>
#include <QTextEdit>

/// The log viewer's text twice, with its buttons beside it: once with the log's document, and once
/// as the toolkit has it.
class TwinViews
{
public:
    explicit TwinViews(const QSize &size);

    /// Shows @p log in both and compares all that is to be seen of it, on every page that the
    /// paging buttons lead to. Returns what differs; nothing if they are alike.
    QString difference(const QByteArray &log);

    QTextEdit *own() const { return ownView; }
    QTextEdit *toolkits() const { return toolkitsView; }

private:
    QString settledDifference() const;
    QString pageDifference(const QString &where) const;
    void settle();

    QDialog ownScreen;
    QDialog toolkitsScreen;
    QTextEdit *ownView;
    QTextEdit *toolkitsView;
    LogDocument *document;
};
