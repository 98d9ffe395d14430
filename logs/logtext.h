#pragma once

#include <QByteArray>
#include <QString>

/// A text to be read from anywhere, with a position for each UTF-16 unit. What is ASCII takes a
/// byte a character, half of what QString takes.
class LogText
{
public:
    LogText() = default;
    explicit LogText(const QString &text)
        : wide(text)
    {
    }
    /// Of a file that is read as UTF-8. Each end of a line, "\r\n" too, becomes one character.
    static LogText fromFile(const QByteArray &bytes);

    int size() const { return narrow.isNull() ? wide.size() : narrow.size(); }
    ushort at(int position) const
    {
        return narrow.isNull() ? wide.at(position).unicode()
                               : static_cast<uchar>(narrow.at(position));
    }
    QString mid(int position, int length) const;
    int lastLineFeed(int from, int to) const; ///< Before @p to; -1 if there is none.
    /// Past the printable ASCII characters that begin at @p position, or a little before that.
    int skipPrintable(int position) const;

private:
    QByteArray narrow; ///< Null if there is a character beyond ASCII.
    QString wide;
};
