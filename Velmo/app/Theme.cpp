#include "Theme.h"

#include <QApplication>
#include <QPainter>
#include <QPalette>

#include <algorithm>
#include <array>

namespace velmo::Theme {

namespace {

const Palette lightPalette{QColor(0xEDEDEA), QColor(0xFFFFFF), QColor(0xE4E4E0), QColor(0xD9D9D4), QColor(0xF6F6F4),
                           QColor(0x111111), QColor(0x6E6E6A), QColor(0xA6A6A1), QColor(0xFFFFFF), QColor(0xB9B9B4)};
const Palette darkPalette{QColor(0x141414), QColor(0x1E1E1E), QColor(0x0E0E0E), QColor(0x2C2C2C), QColor(0x242424),
                          QColor(0xF2F2EF), QColor(0x9A9A96), QColor(0x5E5E5B), QColor(0x111111), QColor(0x6B6B68)};

bool darkScheme = false;

} // namespace

const Palette& palette() { return darkScheme ? darkPalette : lightPalette; }

bool dark() { return darkScheme; }

void setDark(bool dark) {
    darkScheme = dark;
    if (!qApp) return;
    const Palette& p = palette();
    QPalette qt;
    qt.setColor(QPalette::Window, p.body);
    qt.setColor(QPalette::WindowText, p.ink);
    qt.setColor(QPalette::Base, p.surface);
    qt.setColor(QPalette::AlternateBase, p.hover);
    qt.setColor(QPalette::Text, p.ink);
    qt.setColor(QPalette::Button, p.surface);
    qt.setColor(QPalette::ButtonText, p.ink);
    qt.setColor(QPalette::Highlight, accent);
    qt.setColor(QPalette::HighlightedText, QColor(0xFFFFFF));
    qt.setColor(QPalette::ToolTipBase, p.surface);
    qt.setColor(QPalette::ToolTipText, p.ink);
    qt.setColor(QPalette::PlaceholderText, p.ink3);
    qt.setColor(QPalette::Mid, p.line);
    qt.setColor(QPalette::Disabled, QPalette::Text, p.ink3);
    qt.setColor(QPalette::Disabled, QPalette::WindowText, p.ink3);
    qt.setColor(QPalette::Disabled, QPalette::ButtonText, p.ink3);
    QApplication::setPalette(qt);
}

QColor mix(const QColor& under, const QColor& over, double amount) {
    const double a = std::clamp(amount, 0.0, 1.0);
    const auto channel = [a](double u, double o) { return u + (o - u) * a; };
    return QColor::fromRgbF(static_cast<float>(channel(under.redF(), over.redF())),
                            static_cast<float>(channel(under.greenF(), over.greenF())),
                            static_cast<float>(channel(under.blueF(), over.blueF())));
}

void paintWell(QPainter& painter, const QRectF& rect, double radius) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().inset);
    painter.drawRoundedRect(rect, radius, radius);
}

void paintRaised(QPainter& painter, const QRectF& rect, double radius) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(palette().line, 1));
    painter.setBrush(palette().surface);
    painter.drawRoundedRect(rect.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

QColor trackColor(int index) {
    static const std::array<QColor, 8> colors{QColor(0xFF5B1F), QColor(0x2F5BFF), QColor(0x14A86B), QColor(0xFFB800),
                                              QColor(0xFF5FA2), QColor(0x7C5CFF), QColor(0x10B5C4), QColor(0x8C8C86)};
    return colors[static_cast<std::size_t>(((index % 8) + 8) % 8)];
}

QColor sectionColor(const QString& name, bool isEngine) {
    if (isEngine) return blue;
    if (name == "Filter") return green;
    if (name == "Amp Envelope" || name == "Mod Envelope") return orange;
    return palette().grey;
}

} // namespace velmo::Theme
