// A plain text label in the window's type sizes: the one way views make their static words.
#pragma once

#include <QLabel>

namespace velmo {

// `secondary` text is greyed and follows the scheme in force like the rest.
QLabel* textLabel(const QString& text, int pixelSize, bool bold = false, bool secondary = false);

} // namespace velmo
