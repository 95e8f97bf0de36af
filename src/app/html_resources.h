// The HTML pages built into the program (resources/html, compiled in through app.qrc), found
// by number or by name as pane links ask for them, and the substitution of "{NAME}"
// placeholders that pages and headers share.
#pragma once

#include <map>
#include <optional>

#include <QString>

namespace quorvane::app {

inline constexpr int kHomePageResource = 233;

// The page's HTML, or nothing when the program has no such resource (or it cannot be read).
std::optional<QString> HtmlResource(int number);
std::optional<QString> HtmlResource(const QString& name);

// The family of the system's default user-interface font, for "{DEFAULT_GUI_FONT}".
QString DefaultGuiFont();

// Replaces every "{NAME}" of `values` in `html`; "{DEFAULT_GUI_FONT}" is always replaced.
// Values go in as they are: the caller escapes what is not meant as markup.
QString SubstitutePlaceholders(QString html, const std::map<QString, QString>& values);

}  // namespace quorvane::app
