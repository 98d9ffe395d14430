#pragma once

class QString;

/// Whether Qt can show @p html within some seconds. It cannot if elements are too deep inside each
/// other, or if the text becomes too tall.
bool canShowHtml(const QString &html);
