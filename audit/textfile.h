#pragma once

#include "audit/tree.h"

#include <QString>

#include <optional>

// A text file of the instrument that the program reads whole.

/// More than any of them needs. The program would read on; here the judgement ends.
constexpr qint64 textLimit = 1024LL * 1024;

/// Whether the program can open it for reading: it opens ordinary files only.
inline bool isReadable(const Entry &entry)
{
    return entry.kind == Entry::File || entry.kind == Entry::Unknown;
}

/// As QTextStream reads it where UTF-8 is the text codec; a byte order mark is left out.
/// @p withoutReturns as a file that is opened with QIODevice::Text.
QString decodeText(const QByteArray &content, bool withoutReturns);

/// Whether @p content is UTF-8 all through.
bool isUtf8(const QByteArray &content);
