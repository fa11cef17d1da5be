#include "arrangement/ColumnHeader.h"

#include "AppModel.h"
#include "Theme.h"
#include "arrangement/ArrangementGeometry.h"

#include <QPainter>
#include <QPushButton>

namespace velmo {

namespace G = ArrangementGeometry;

ColumnHeader::ColumnHeader(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    setFixedSize(G::headerWidth, G::rulerHeight);
    clear_ = new QPushButton("Unmute all", this);
    clear_->setFlat(true);
    clear_->setToolTip("Clear mute and solo on every track (Ctrl+Alt+U)");
    QFont f = clear_->font();
    f.setPixelSize(10);
    clear_->setFont(f);
    clear_->setGeometry(width() - 8 - 74, 3, 74, G::rulerHeight - 6);
    connect(clear_, &QPushButton::clicked, this, [this] { model_.studio().unmuteAll(); });
    const auto show = [this] { clear_->setVisible(model_.studio().anyMutedOrSoloed()); };
    connect(&model_.studioSignals(), &StudioSignals::songChanged, this, show);
    show();
}

void ColumnHeader::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    painter.fillRect(rect(), p.surface);
    painter.fillRect(QRectF(0, height() - 1, width(), 1), p.line);
    QFont font = painter.font();
    font.setPixelSize(10);
    painter.setFont(font);
    painter.setPen(p.ink3);
    painter.drawText(QRectF(12, 0, 100, height()), Qt::AlignLeft | Qt::AlignVCenter, "track");
    painter.drawText(QRectF(36 + 100, 0, 60, height()), Qt::AlignLeft | Qt::AlignVCenter, "output");
}

} // namespace velmo
