#include "controls/TextLabel.h"

namespace velmo {

QLabel* textLabel(const QString& text, int pixelSize, bool bold, bool secondary) {
    auto* label = new QLabel(text);
    QFont f = label->font();
    f.setPixelSize(pixelSize);
    f.setBold(bold);
    label->setFont(f);
    if (secondary) label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

} // namespace velmo
