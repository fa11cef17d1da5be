#include "arrangement/EmptyArrangement.h"

#include "AppModel.h"
#include "Theme.h"
#include "arrangement/AddTrackMenu.h"
#include "controls/TextLabel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmo {

namespace {

QLabel* text(const QString& words, int pixelSize, bool secondary) {
    QLabel* label = textLabel(words, pixelSize, !secondary, secondary);
    label->setAlignment(Qt::AlignHCenter);
    return label;
}

} // namespace

EmptyArrangement::EmptyArrangement(AppModel& model, QWidget* parent) : QWidget(parent) {
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addStretch();
    for (std::string_view category : sortedPresetCategories()) {
        auto* button = new QPushButton(QString::fromUtf8(category.data(), static_cast<int>(category.size())));
        auto* menu = new QMenu(button);
        fillPresetMenu(*menu, model.studio(), category);
        button->setMenu(menu);
        buttons->addWidget(button);
    }
    buttons->addStretch();
    auto* column = new QVBoxLayout(this);
    column->addStretch();
    column->addWidget(text("Start with a sound", 18, false));
    column->addWidget(text("Pick an instrument below, or ask your agent to write something.", 12, true));
    column->addSpacing(12);
    column->addLayout(buttons);
    column->addStretch();
}

void EmptyArrangement::paintEvent(QPaintEvent*) { QPainter(this).fillRect(rect(), Theme::palette().surface); }

} // namespace velmo
