#include "pianoroll/PianoKeys.h"

#include "StudioSignals.h"
#include "Theme.h"
#include "pianoroll/PianoRollGeometry.h"
#include "pianoroll/PianoRollPainter.h"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>

namespace velmo {

namespace {

constexpr double keyVelocity = 0.8, keySeconds = 0.3;

} // namespace

PianoKeys::PianoKeys(StudioSignals& signals, const double& rowH, QWidget* parent)
    : QWidget(parent), signals_(signals), rowH_(rowH) {
    setFixedWidth(PianoRollGeometry::keyColumnWidth);
    setCursor(Qt::PointingHandCursor);
    connect(&signals_, &StudioSignals::liveChanged, this, qOverload<>(&QWidget::update));
}

void PianoKeys::setOffset(int offset) {
    offset_ = offset;
    update();
}

const std::string* PianoKeys::trackID() const {
    const auto& id = signals_.studio().selectedClipID();
    if (!id) return nullptr;
    const auto at = signals_.studio().project().clipLocation(*id);
    return at ? &signals_.studio().project().tracks[at->track].id : nullptr;
}

void PianoKeys::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    const std::string* track = trackID();
    static const std::set<int> none;
    const Project& project = signals_.studio().project();
    const auto& heldMap = signals_.studio().live().heldPitches;
    const auto held = track ? heldMap.find(*track) : heldMap.end();
    const auto index = track ? project.trackIndex(*track) : std::nullopt;
    const bool drums = index && project.tracks[*index].patch.engine == EngineKind::drums;
    const QColor color = index ? Theme::trackColor(project.tracks[*index].colorIndex) : Theme::accent;
    PianoRollPainter::paintKeys(painter, event->rect(), offset_, rowH_, drums, held == heldMap.end() ? none : held->second,
                                color);
}

void PianoKeys::mousePressEvent(QMouseEvent* event) {
    const std::string* track = trackID();
    if (!track) return;
    const int pitch = PianoRollGeometry::pitchAt(event->position().y() + offset_, rowH_);
    if (pitch < PianoRollGeometry::bottomPitch || pitch > PianoRollGeometry::topPitch) return;
    signals_.studio().audition(*track, {{0, pitch, keyVelocity, keySeconds}});
}

} // namespace velmo
