// The light or dark scheme: the stored preference "appearance" ("system", "light", "dark"),
// whose default comes from VELMO_APPEARANCE, since the environment only gives the default.
#pragma once

#include <QString>

namespace velmo::Appearance {

// The stored value, else VELMO_APPEARANCE, else "system".
QString current();
// Stores `value` and paints the window in it.
void set(const QString& value);
// Puts the scheme of `value` in force: "light" and "dark" force theirs, anything else follows
// the system's colours as Qt reports them.
void apply(const QString& value);

} // namespace velmo::Appearance
