#pragma once

class QFont;
class QString;

/// Whether Qt shows @p html, in @p font, at all. It comes to no end if elements are too deep inside
/// each other, if a list, a paragraph of pictures or a word is too long, or if the text becomes too
/// tall.
bool canShowHtml(const QString &html, const QFont &font);
