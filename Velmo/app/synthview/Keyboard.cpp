#include "synthview/Keyboard.h"

#include "AppModel.h"
#include "Theme.h"
#include "controls/CText.h"
#include "theory/DrumMap.h"
#include "theory/NoteNames.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

#include <cmath>
#include <algorithm>
#include <set>

namespace velmo {

namespace {

// The share of a white key's width, from each side, under a neighbouring black key.
constexpr double blackReach = 0.32;
// The share of the height, from the top, that black keys take.
constexpr double blackDepth = 0.6;
// Space between a key's edge and what is written on it.
constexpr double inset = 3;

QFont pixelFont(QFont font, int pixels) {
    font.setPixelSize(pixels);
    return font;
}

QString drumName(int pitch) {
    const auto name = MusicTheory::drumDisplayName(pitch);
    return name ? QString::fromUtf8(name->data(), static_cast<int>(name->size())) : QString();
}

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
    if (drums_) {
        setFixedHeight(captionHeight + drumKeysHeight());
    } else {
        setMinimumHeight(captionHeight + 70);
        setMaximumHeight(captionHeight + 90);
    }
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

int Keyboard::drumKeysHeight() const {
    const QFontMetricsF names(pixelFont(font(), namePixels));
    double longest = 0;
    for (const auto& label : MusicTheory::drumLabels())
        if (isBlackClass(label.note)) longest = std::max(longest, names.horizontalAdvance(drumName(label.note)));
    const double letterBand = QFontMetricsF(pixelFont(font(), letterPixels)).height() + inset;
    return static_cast<int>(std::ceil((inset + longest + 1 + letterBand + 1) / blackDepth));
}

std::vector<KeyFace> Keyboard::faces() const {
    const QFontMetricsF letterMetrics(pixelFont(font(), letterPixels));
    const QFontMetricsF nameMetrics(pixelFont(font(), namePixels));
    const int first = base() + model_.typing().octaveShift() * 12;
    const std::vector<int> keys = whites();
    const QRectF area = keysArea();
    const double w = area.width() / static_cast<double>(keys.size());

    auto face = [&](int pitch, bool black, QRectF key) {
        KeyFace f{pitch, black, key, {}, {}, {}, {}, {}};
        const int semitone = pitch - first;
        if (semitone >= 0 && semitone < static_cast<int>(MusicalTyping::letters.size()))
            f.letter = MusicalTyping::letters[static_cast<std::size_t>(semitone)];
        const double letterHeight = letterMetrics.height();
        f.letterRoom = QRectF(key.left(), key.bottom() - inset - letterHeight, key.width(), letterHeight);
        if (drums_) f.name = drumName(pitch);
        if (!f.name.isEmpty()) {
            // Centred in the key: on a white key that is the strip between its black neighbours.
            const double thickness = nameMetrics.height();
            const double top = key.top() + inset;
            const double bottom = f.letter.isEmpty() ? key.bottom() - inset : f.letterRoom.top() - 1;
            f.nameRoom = QRectF(key.center().x() - thickness / 2, top, thickness, std::max(bottom - top, 0.0));
            f.shownName = nameMetrics.elidedText(f.name, Qt::ElideRight, f.nameRoom.height());
        }
        return f;
    };
    std::vector<KeyFace> result;
    for (std::size_t i = 0; i < keys.size(); ++i)
        result.push_back(face(keys[i], false, QRectF(area.left() + i * w + 0.5, area.top() + 0.5, w - 1, area.height() - 1)));
    for (std::size_t i = 0; i < keys.size(); ++i)
        if (isBlackClass(keys[i] + 1))
            result.push_back(face(keys[i] + 1, true, QRectF(area.left() + (i + 1 - blackReach) * w, area.top(),
                                                            2 * blackReach * w, area.height() * blackDepth)));
    return result;
}

QString Keyboard::caption() const { return "Z X octave, C V velocity  ·  MIDI input plays the selected track"; }

QString Keyboard::velocityText() const {
    return "vel " + cText("%lld", static_cast<long long>(std::llround(model_.typing().velocity() * 127)));
}

bool Keyboard::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) return QWidget::event(event);
    // The whole name, the note and the computer key: what a key cut short or unlettered leaves out.
    auto* help = static_cast<QHelpEvent*>(event);
    const auto pitch = hit(help->pos());
    QStringList parts;
    for (const KeyFace& f : faces()) {
        if (!pitch || f.pitch != *pitch) continue;
        if (!f.name.isEmpty()) parts << f.name;
        parts << QString::fromStdString(MusicTheory::noteName(f.pitch));
        if (!f.letter.isEmpty()) parts << "key " + f.letter;
    }
    if (parts.isEmpty()) QToolTip::hideText();
    else QToolTip::showText(help->globalPos(), parts.join("  ·  "), this);
    return true;
}

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
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QFont letterFont = pixelFont(font(), letterPixels);
    const QFont nameFont = pixelFont(font(), namePixels);
    painter.setFont(letterFont);
    painter.setPen(p.ink3);
    const QRectF captionRow(2, 0, width() - 4, captionHeight - 4);
    painter.drawText(captionRow, Qt::AlignLeft | Qt::AlignVCenter, caption());
    painter.drawText(captionRow, Qt::AlignRight | Qt::AlignVCenter, velocityText());

    std::set<int> pressed;
    const auto& held = model_.studio().live().heldPitches;
    if (auto found = held.find(trackID_); found != held.end()) pressed = found->second;
    if (mouseHeld_) pressed.insert(*mouseHeld_);

    // White keys come first in the list, so the black ones are drawn over them.
    for (const KeyFace& f : faces()) {
        const bool down = pressed.count(f.pitch) > 0;
        if (f.black) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(down ? color_ : QColor(0x111111));
            painter.drawRoundedRect(f.key, 2, 2);
        } else {
            painter.setPen(QPen(p.line, 1));
            painter.setBrush(down ? color_ : QColor(0xFFFFFF));
            painter.drawRoundedRect(f.key, 3, 3);
        }
        const QColor ink = f.black || down ? QColor(0xF2F2EF) : QColor(0x6E6E6A);
        painter.setPen(ink);
        if (!f.letter.isEmpty()) {
            painter.setFont(letterFont);
            painter.drawText(f.letterRoom, Qt::AlignHCenter | Qt::AlignBottom, f.letter);
        }
        if (!f.shownName.isEmpty()) {
            // Turned a quarter clockwise, reading down the key.
            painter.save();
            painter.setFont(nameFont);
            painter.translate(f.nameRoom.center());
            painter.rotate(90);
            const QRectF run(-f.nameRoom.height() / 2, -f.nameRoom.width() / 2, f.nameRoom.height(), f.nameRoom.width());
            painter.drawText(run, Qt::AlignLeft | Qt::AlignVCenter, f.shownName);
            painter.restore();
        }
    }
}

} // namespace velmo
