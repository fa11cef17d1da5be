#include "transport/TransportBar.h"

#include "AppModel.h"
#include "Theme.h"
#include "catalog/SongRanges.h"
#include "controls/BarFader.h"
#include "controls/CText.h"
#include "controls/CircleButton.h"
#include "controls/DragNumber.h"
#include "controls/LevelMeter.h"
#include "transport/MCPStatusPill.h"
#include "transport/PositionDisplay.h"
#include "transport/Scope.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QTimer>
#include <QVBoxLayout>

#include <cmath>

namespace velmo {

namespace {

QLabel* label(const QString& text, int pixelSize, bool secondary) {
    auto* l = new QLabel(text);
    QFont f = l->font();
    f.setPixelSize(pixelSize);
    l->setFont(f);
    l->setProperty("secondary", secondary);
    return l;
}

} // namespace

QString tempoText(double tempo) {
    if (tempo == std::round(tempo)) return cText("%.0f", tempo);
    return QString::number(tempo, 'g', 6);  // Qt's numbers ignore the locale
}

TransportBar::TransportBar(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    Studio& studio = model_.studio();
    setFixedHeight(barHeight);

    auto* wordmark = label("velmo", 20, false);
    QFont bold = wordmark->font();
    bold.setBold(true);
    bold.setLetterSpacing(QFont::PercentageSpacing, 92);
    wordmark->setFont(bold);

    auto* back = new CircleButton(CircleButton::Glyph::returnToStart, 32, false, "Return to start (Return)");
    back->action = [&studio] { studio.returnToStart(); };
    play_ = new CircleButton(CircleButton::Glyph::play, 36, true, "Play / stop (Space)");
    play_->action = [&studio] { studio.togglePlay(); };
    loop_ = new CircleButton(CircleButton::Glyph::loop, 32, false, "Loop between the markers on the ruler (Ctrl+L)");
    loop_->action = [&studio] { studio.setLoop(!studio.project().loopEnabled, std::nullopt, std::nullopt); };

    tempo_ = new DragNumber(kTempoRange.min, kTempoRange.max, 1, "%.0f", 14);
    tempo_->text = tempoText;
    tempo_->onChange = [&studio](double bpm) { studio.mutate(std::string("tempo"), [&](Project& p) { p.tempo = bpm; }); };
    metre_ = label("", 14, false);

    master_ = new BarFader({kVolumeDbRange.min, kVolumeDbRange.max, false}, 0.0, false, Theme::palette().ink2, 6);
    master_->setFixedWidth(110);
    master_->setToolTip("Master volume");
    master_->onChange = [&studio](double db) {
        studio.mutate(std::string("master"), [&](Project& p) { p.masterVolumeDb = std::round(db * 10) / 10; });
    };
    masterText_ = label("", 11, true);
    masterText_->setFixedWidth(40);
    meter_ = new LevelMeter(false);
    meter_->setFixedWidth(110);
    auto* masterColumn = new QVBoxLayout;
    masterColumn->setSpacing(3);
    auto* masterRow = new QHBoxLayout;
    masterRow->addWidget(label("master", 11, true));
    masterRow->addStretch();
    masterRow->addWidget(masterText_);
    masterColumn->addLayout(masterRow);
    masterColumn->addWidget(master_);
    masterColumn->addWidget(meter_);

    scope_ = new Scope;
    exportMessage_ = label("", 11, true);
    sound_ = label("no sound", 11, false);
    sound_->setObjectName("noSound");
    sound_->setStyleSheet("color: " + Theme::red.name());

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(16, 6, 16, 6);
    row->setSpacing(10);
    row->addWidget(wordmark);
    row->addSpacing(12);
    row->addWidget(back);
    row->addWidget(play_);
    row->addWidget(loop_);
    row->addSpacing(6);
    row->addWidget(new PositionDisplay(model_.studioSignals()));
    row->addSpacing(6);
    row->addWidget(tempo_);
    row->addWidget(label("bpm", 11, true));
    row->addSpacing(6);
    row->addWidget(metre_);
    row->addStretch(1);
    row->addWidget(exportMessage_);
    row->addWidget(sound_);
    row->addSpacing(8);
    row->addLayout(masterColumn);
    row->addSpacing(8);
    row->addWidget(scope_);
    row->addSpacing(8);
    row->addWidget(new MCPStatusPill(model_));

    connect(&model_.studioSignals(), &StudioSignals::songChanged, this, &TransportBar::showSong);
    connect(&model_.studioSignals(), &StudioSignals::liveChanged, this, &TransportBar::showLive);
    connect(&model_, &AppModel::exportMessageChanged, this,
            [this] { exportMessage_->setText(model_.exportMessage().value_or(QString())); });
    // The host tries the device every 2 s and says nothing when it comes or goes.
    auto* soundTimer = new QTimer(this);
    connect(soundTimer, &QTimer::timeout, this, &TransportBar::showSound);
    soundTimer->start(1000);
    showSong();
    showLive();
    showSound();
}

void TransportBar::showSound() {
    const AudioHost* host = model_.studio().host();
    const bool silent = host && host->lastError();
    sound_->setVisible(silent);
    sound_->setToolTip(silent ? QString::fromStdString(*host->lastError()) + "\nVelmo tries again every 2 s." : QString());
}

void TransportBar::showSong() {
    const Project& p = model_.studio().project();
    tempo_->setValue(p.tempo);
    metre_->setText(cText("%lld/%lld", static_cast<long long>(p.beatsPerBar), static_cast<long long>(p.beatUnit)));
    master_->setValue(p.masterVolumeDb);
    masterText_->setText(cText("%+.1f", p.masterVolumeDb));
    loop_->setOn(p.loopEnabled, Theme::accent);
}

void TransportBar::showLive() {
    const LiveState& live = model_.studio().live();
    play_->setGlyph(live.isPlaying ? CircleButton::Glyph::stop : CircleButton::Glyph::play);
    meter_->setLevel(live.masterLevel);
    scope_->setSamples(live.scope);
}

void TransportBar::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    QPainter painter(this);
    painter.fillRect(rect(), p.surface);
    // Labels follow the scheme in force, which may change while they live.
    for (auto* l : findChildren<QLabel*>()) {
        QPalette colours = l->palette();
        colours.setColor(QPalette::WindowText, l->property("secondary").toBool() ? p.ink2 : p.ink);
        if (colours != l->palette()) l->setPalette(colours);
    }
}

} // namespace velmo
