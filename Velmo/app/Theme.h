// The one palette of the window: neutral colours in a light and a dark form, four fixed signal
// colours, and the eight track colours. Every view paints from here, so all editors look alike.
#pragma once

#include <QColor>
#include <QRectF>
#include <QString>

class QPainter;

namespace velmo {

struct Palette {
    QColor body, surface, inset, line, hover, ink, ink2, ink3, onInk, grey;
};

// GUI thread only: the scheme in force is process-wide.
namespace Theme {

const Palette& palette();
bool dark();
// Chooses the light or dark form and gives Qt's own widgets (menus, dialogs) the same colours.
void setDark(bool dark);

inline const QColor blue{0x2F, 0x5B, 0xFF};
inline const QColor green{0x14, 0xA8, 0x6B};
inline const QColor orange{0xFF, 0x5B, 0x1F};
inline const QColor red{0xF0, 0x38, 0x3B};
inline const QColor accent = orange;

// A track's `colorIndex`, taken modulo eight.
QColor trackColor(int index);
// `over` laid on `under` at `amount` (0...1), as one opaque colour: opaque fills cost a fraction
// of blended ones, which matters where thousands of clips and notes are painted.
QColor mix(const QColor& under, const QColor& over, double amount);
// The sunken well that readouts and scopes sit in: a rounded rectangle in `inset`, antialiased.
void paintWell(QPainter& painter, const QRectF& rect, double radius = 6);
// A raised card that controls are grouped on: `surface` within a hairline of `line`, antialiased.
void paintRaised(QPainter& painter, const QRectF& rect, double radius = 8);

// `blue` for the engine's own sections, then by name.
QColor sectionColor(const QString& name, bool isEngine);

} // namespace Theme

} // namespace velmo
