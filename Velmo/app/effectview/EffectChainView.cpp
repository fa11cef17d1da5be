#include "effectview/EffectChainView.h"

#include "Studio/Studio.h"
#include "catalog/EffectCatalog.h"
#include "controls/FlowLayout.h"
#include "controls/TextLabel.h"
#include "effectview/EffectCard.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmo {

namespace {

QString text(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<int>(s.size())); }

} // namespace

EffectChainView::EffectChainView(Studio& studio, std::optional<std::string> trackID, QColor color, QWidget* parent)
    : QWidget(parent), studio_(studio), trackID_(std::move(trackID)), color_(color) {
    title_ = textLabel("", 13, true);
    subtitle_ = textLabel("", 11, false, true);
    add_ = new QPushButton("+ Add effect");
    add_->setFocusPolicy(Qt::NoFocus);
    auto* menu = new QMenu(add_);
    for (EffectKind kind : allCases<EffectKind>()) {
        // After the tab the summary stands in the menu's right column.
        menu->addAction(text(toString(kind)) + "\t" + text(EffectCatalog::summary(kind)), this, [this, kind] {
            std::optional<std::size_t> track;
            if (trackID_ && !(track = studio_.project().trackIndex(*trackID_))) return;
            studio_.addEffect(track, kind, nlohmann::json::object(), std::nullopt);
        });
    }
    add_->setMenu(menu);

    auto* header = new QHBoxLayout;
    header->setSpacing(8);
    header->addWidget(title_);
    header->addWidget(subtitle_);
    header->addStretch(1);
    header->addWidget(add_);

    empty_ = textLabel("No effects. The signal passes straight through.", 12, false, true);
    auto* cards = new QWidget;
    flow_ = new FlowLayout(8, cards);
    flow_->setContentsMargins(0, 0, 0, 0);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(12, 8, 12, 8);
    column->setSpacing(8);
    column->addLayout(header);
    column->addWidget(empty_);
    column->addWidget(cards);
}

void EffectChainView::setTitle(const QString& title, const QString& subtitle) {
    title_->setText(title);
    subtitle_->setText(subtitle);
}

void EffectChainView::showChain(const CowVector<EffectSlot>& slots) {
    bool same = cards_.size() == slots.size();
    for (std::size_t i = 0; same && i < slots.size(); ++i)
        same = cards_[i]->slotID() == slots[i].id && cards_[i]->kind() == slots[i].kind;
    if (!same) {
        for (EffectCard* card : cards_) {
            flow_->removeWidget(card);
            card->deleteLater();  // it may be inside its own click (remove, move)
        }
        cards_.clear();
        for (const EffectSlot& slot : slots) {
            auto* card = new EffectCard(studio_, trackID_, slot, color_);
            flow_->addWidget(card);
            cards_.push_back(card);
        }
    }
    for (std::size_t i = 0; i < slots.size(); ++i) cards_[i]->showSlot(slots[i], i, slots.size());
    empty_->setVisible(slots.empty());
}

} // namespace velmo
