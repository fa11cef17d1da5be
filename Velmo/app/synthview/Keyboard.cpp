#include "synthview/Keyboard.h"

#include "AppModel.h"
#include "Theme.h"
#include "controls/CText.h"
#include "theory/DrumMap.h"

#include <QMouseEvent>
#include <QPainter>

#include <cmath>
#include <map>
#include <set>

namespace velmo {

namespace {

// The share of a white key's width, from each side, under a neighbouring black key.
constexpr double blackReach = 0.32;
// The share of the height, from the top, that black keys take.
constexpr double blackDepth = 0.6;

} // namespace

bool isBlackClass(int pitch) {
    switch (((pitch % 12) + 12) % 12) {
    case 1: case 3: case 6: case 8: case 10: return true;
    default: return false;
    }
}

std::optional<int> keyboardHit(double x, double y, double width, double height, const std::vector<int>& whites) {
    if (x < 0 || y < 0 || y > height || whites.empty()) return std::nullopt;
    const double u = x / (width / static_cast<double>(whites.size()));
    const auto index = static_cast<std::size_t>(u);
    if (index >= whites.size()) return std::nullopt;
    const int white = whites[index];
    if (y < height * blackDepth) {
        const double f = u - std::floor(u);
        if (f > 1 - blackReach && isBlackClass(white + 1)) return white + 1;
        if (f < blackReach && isBlackClass(white - 1)) return white - 1;
    }
    return white;
}

Keyboard::Keyboard(AppModel& model, std::string trackID, QColor color, bool drums, QWidget* parent)
    : QWidget(parent), model_(model), trackID_(std::move(trackID)), color_(color), drums_(drums) {
    setMinimumHeight(captionHeight + 70);
    setMaximumHeight(captionHeight + 90);
    setCursor(Qt::PointingHandCursor);
    connect(&model_.studioSignals(), &StudioSignals::liveChanged, this, qOverload<>(&QWidget::update));
    connect(&model_, &AppModel::typingChanged, this, qOverload<>(&QWidget::update));
}

Keyboard::~Keyboard() { hold(std::nullopt); }

void Keyboard::setColor(QColor color) {
    if (color == color_) return;
    color_ = color;
    update();
}

std::vector<int> Keyboard::whites() const {
    // A C, since the base and the octave shift are whole octaves; 72 is the last C with four
    // octaves up to MIDI's top.
    const int lowest = std::clamp(base() + model_.typing().octaveShift() * 12 - 12, 0, 72);
    std::vector<int> keys;
    for (int pitch = lowest; pitch < lowest + 12 * octaves; ++pitch)
        if (!isBlackClass(pitch)) keys.push_back(pitch);
    return keys;
}

QRectF Keyboard::keysArea() const { return QRectF(0, captionHeight, width(), height() - captionHeight); }

std::optional<int> Keyboard::hit(QPointF at) const {
    const QRectF keys = keysArea();
    return keyboardHit(at.x() - keys.left(), at.y() - keys.top(), keys.width(), keys.height(), whites());
}

void Keyboard::hold(std::optional<int> pitch) {
    if (pitch == mouseHeld_) return;
    Studio& studio = model_.studio();
    if (mouseHeld_) studio.noteOff(trackID_, *mouseHeld_);
    if (pitch) studio.noteOn(trackID_, *pitch, model_.typing().velocity());
    mouseHeld_ = pitch;
    update();
}

void Keyboard::mousePressEvent(QMouseEvent* event) {
    dragging_ = true;
    hold(hit(event->position()));
}

void Keyboard::mouseMoveEvent(QMouseEvent* event) {
    if (dragging_) hold(hit(event->position()));
}

void Keyboard::mouseReleaseEvent(QMouseEvent*) {
    dragging_ = false;
    hold(std::nullopt);
}

void Keyboard::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    const MusicalTyping& typing = model_.typing();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont font = painter.font();
    font.setPixelSize(10);
    painter.setFont(font);
    painter.setPen(p.ink3);
    painter.drawText(QRectF(2, 0, width() - 4, captionHeight - 4), Qt::AlignLeft | Qt::AlignVCenter,
                     "Z X octave, C V velocity  ·  MIDI input plays the selected track");
    painter.drawText(QRectF(2, 0, width() - 4, captionHeight - 4), Qt::AlignRight | Qt::AlignVCenter,
                     "vel " + cText("%lld", static_cast<long long>(std::llround(typing.velocity() * 127))));

    std::set<int> pressed;
    const auto& held = model_.studio().live().heldPitches;
    if (auto found = held.find(trackID_); found != held.end()) pressed = found->second;
    if (mouseHeld_) pressed.insert(*mouseHeld_);
    // The letters of the computer-keyboard piano, by the pitch they play now.
    std::map<int, QString> letters;
    const int first = base() + typing.octaveShift() * 12;
    for (std::size_t s = 0; s < MusicalTyping::letters.size(); ++s) letters[first + static_cast<int>(s)] = MusicalTyping::letters[s];
    auto drumName = [this](int pitch) -> QString {
        if (!drums_) return {};
        const auto name = MusicTheory::drumDisplayName(pitch);
        return name ? QString::fromUtf8(name->data(), static_cast<int>(name->size())) : QString();
    };

    const std::vector<int> keys = whites();
    const QRectF area = keysArea();
    const double w = area.width() / static_cast<double>(keys.size());
    auto label = [&](const QRectF& key, int pitch, QColor ink) {
        painter.setPen(ink);
        if (auto letter = letters.find(pitch); letter != letters.end())
            painter.drawText(key.adjusted(0, 0, 0, -4), Qt::AlignHCenter | Qt::AlignBottom, letter->second);
        if (const QString name = drumName(pitch); !name.isEmpty()) {
            painter.save();
            painter.translate(key.center().x() + 3, key.top() + 4);
            painter.rotate(90);
            painter.drawText(QPointF(0, 0), name);
            painter.restore();
        }
    };
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const QRectF key(area.left() + i * w + 0.5, area.top() + 0.5, w - 1, area.height() - 1);
        painter.setPen(QPen(p.line, 1));
        painter.setBrush(pressed.count(keys[i]) ? color_ : QColor(0xFFFFFF));
        painter.drawRoundedRect(key, 3, 3);
        label(key, keys[i], pressed.count(keys[i]) ? QColor(0xFFFFFF) : QColor(0x6E6E6A));
    }
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const int black = keys[i] + 1;
        if (!isBlackClass(black)) continue;
        const QRectF key(area.left() + (i + 1 - blackReach) * w, area.top(), 2 * blackReach * w, area.height() * blackDepth);
        painter.setPen(Qt::NoPen);
        painter.setBrush(pressed.count(black) ? color_ : QColor(0x111111));
        painter.drawRoundedRect(key, 2, 2);
        label(key, black, QColor(0xF2F2EF));
    }
}

} // namespace velmo
