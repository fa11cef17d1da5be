#include "effectview/EffectCard.h"

#include "Studio/Studio.h"
#include "Theme.h"
#include "catalog/EffectCatalog.h"
#include "controls/CText.h"
#include "controls/Knob.h"
#include "controls/PillToggle.h"
#include "controls/TextLabel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QToolButton>
#include <QVBoxLayout>

namespace velmo {

namespace {

QString text(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<int>(s.size())); }

QToolButton* glyphButton(const QString& glyph, const QString& help) {
    auto* button = new QToolButton;
    button->setText(glyph);
    button->setToolTip(help);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::NoFocus);
    button->setFixedSize(20, 20);
    return button;
}

} // namespace

EffectCard::EffectCard(Studio& studio, std::optional<std::string> trackID, const EffectSlot& slot, QColor color,
                       QWidget* parent)
    : QWidget(parent), studio_(studio), trackID_(std::move(trackID)), slotID_(slot.id), kind_(slot.kind) {
    position_ = textLabel("", 11, false, true);
    QString title = text(toString(kind_));
    title[0] = title[0].toUpper();
    auto* name = textLabel(title, 12, true);
    name->setToolTip(text(EffectCatalog::summary(kind_)));
    left_ = glyphButton("‹", "Move left");
    left_->setObjectName("left");
    right_ = glyphButton("›", "Move right");
    right_->setObjectName("right");
    auto* remove = glyphButton("×", "Remove");
    remove->setObjectName("remove");
    enabled_ = new PillToggle("bypassed", color, "Bypass or enable the effect");
    enabled_->setOnTitle("on");
    enabled_->setObjectName("enabled");
    connect(left_, &QToolButton::clicked, this, [this] {
        if (auto at = place()) studio_.moveEffect(at->track, at->index, -1);
    });
    connect(right_, &QToolButton::clicked, this, [this] {
        if (auto at = place()) studio_.moveEffect(at->track, at->index, 1);
    });
    connect(remove, &QToolButton::clicked, this, [this] {
        if (auto at = place()) studio_.removeEffect(at->track, at->index);
    });
    enabled_->action = [this] {
        if (auto at = place()) studio_.updateEffect(at->track, at->index, nlohmann::json::object(), !enabled_->on());
    };

    auto* header = new QHBoxLayout;
    header->setSpacing(4);
    header->addWidget(position_);
    header->addWidget(name);
    header->addStretch(1);
    header->addWidget(left_);
    header->addWidget(right_);
    header->addWidget(enabled_);
    header->addWidget(remove);

    auto* knobs = new QHBoxLayout;
    knobs->setSpacing(2);
    for (const EffectParamInfo& spec : EffectCatalog::specs(kind_)) {
        auto* knob = new Knob(text(spec.label), {spec.min, spec.max, spec.log}, text(spec.unit), false,
                              spec.defaultValue, color);
        knob->setObjectName(text(spec.name));
        knob->setHelp(text(spec.help));
        knob->onChange = [this, name = std::string(spec.name)](double value) {
            if (auto at = place())
                studio_.updateEffect(at->track, at->index, nlohmann::json{{name, value}}, std::nullopt,
                                     "fx-" + slotID_ + "-" + name);
        };
        knobs->addWidget(knob);
        knobs_.push_back(knob);
    }

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(10, 6, 8, 8);
    column->setSpacing(6);
    column->addLayout(header);
    column->addLayout(knobs);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    showSlot(slot, 0, 1);
}

std::optional<EffectCard::Place> EffectCard::place() const {
    const Project& project = studio_.project();
    std::optional<std::size_t> track;
    if (trackID_) {
        track = project.trackIndex(*trackID_);
        if (!track) return std::nullopt;
    }
    const auto& slots = track ? project.tracks[*track].effects : project.masterEffects;
    for (std::size_t i = 0; i < slots.size(); ++i)
        if (slots[i].id == slotID_) return Place{track, i};
    return std::nullopt;
}

void EffectCard::showSlot(const EffectSlot& slot, std::size_t index, std::size_t count) {
    position_->setText(cText("%02d", static_cast<int>(index) + 1));
    left_->setEnabled(index > 0);
    right_->setEnabled(index + 1 < count);
    enabled_->setOn(slot.enabled);
    const auto specs = EffectCatalog::specs(kind_);
    for (std::size_t i = 0; i < knobs_.size(); ++i) knobs_[i]->setValue(EffectCatalog::value(slot, specs[i].name));
}

void EffectCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    Theme::paintRaised(painter, rect());
}

} // namespace velmo
