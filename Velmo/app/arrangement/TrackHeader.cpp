#include "arrangement/TrackHeader.h"

#include "AppModel.h"
#include "Theme.h"
#include "arrangement/ArrangementGeometry.h"
#include "arrangement/MIDIRouteMenu.h"
#include "catalog/SongRanges.h"
#include "controls/BarFader.h"
#include "controls/CText.h"
#include "controls/Knob.h"
#include "controls/PillToggle.h"

#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPixmap>
#include <QToolTip>

#include <cmath>
#include <functional>

namespace velmo {

namespace {

constexpr double defaultVolumeDb = -6;
constexpr int trackColors = 8;
const char* const colorNames[trackColors] = {"Orange", "Blue", "Green", "Yellow", "Pink", "Violet", "Teal", "Grey"};

// Escape ends the edit without renaming; Return and leaving the field rename.
class NameField final : public QLineEdit {
public:
    using QLineEdit::QLineEdit;
    std::function<void()> cancel;

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Escape && cancel) return cancel();
        QLineEdit::keyPressEvent(event);
    }
};

} // namespace

TrackHeader::TrackHeader(AppModel& model, std::size_t index, QWidget* parent)
    : QWidget(parent), model_(model), index_(index) {
    setFixedSize(ArrangementGeometry::headerWidth, ArrangementGeometry::rowHeight);
    auto* field = new NameField(this);
    field->setGeometry(nameRect().toRect().adjusted(-3, -2, 3, 2));
    field->hide();
    field->cancel = [this] {
        nameField_->hide();
        update();
    };
    connect(field, &QLineEdit::editingFinished, this, &TrackHeader::commitName);
    nameField_ = field;

    mute_ = new PillToggle("Mute", Theme::orange, "Mute this track", this);
    solo_ = new PillToggle("Solo", Theme::blue, "Play only the soloed tracks", this);
    mute_->move(width() - 8 - solo_->width() - 4 - mute_->width(), 8);
    solo_->move(width() - 8 - solo_->width(), 8);
    mute_->action = [this] { editTrack(std::nullopt, [](Track& t) { t.mute = !t.mute; }); };
    solo_->action = [this] { editTrack(std::nullopt, [](Track& t) { t.solo = !t.solo; }); };

    volume_ = new BarFader({kVolumeDbRange.min, kVolumeDbRange.max, false}, defaultVolumeDb, false, Theme::palette().ink2, 5, this);
    volume_->setGeometry(36, 34, 150, 16);
    volume_->onChange = [this](double db) {
        const double rounded = std::round(db * 10) / 10;
        editTrack("vol-" + id_, [rounded](Track& t) { t.volumeDb = rounded; });
    };
    pan_ = new Knob("Pan", {kPanRange.min, kPanRange.max, false}, "", false, 0.0, Theme::palette().ink2, 20, false, this);
    pan_->move(198, 32);
    pan_->onChange = [this](double pan) {
        const double rounded = std::round(pan * 100) / 100;
        editTrack("pan-" + id_, [rounded](Track& t) { t.pan = rounded; });
    };
    refresh();
}

QRectF TrackHeader::nameRect() const { return {36, 8, 120, 18}; }

void TrackHeader::refresh() {
    const Project& project = model_.studio().project();
    if (index_ >= project.tracks.size()) return;
    const Track& track = project.tracks[index_];
    id_ = track.id;
    mute_->setOn(track.mute);
    solo_->setOn(track.solo);
    volume_->setValue(track.volumeDb);
    volume_->setColor(Theme::trackColor(track.colorIndex));
    volume_->setToolTip(cText("Volume %+.1f dB", track.volumeDb));
    pan_->setValue(track.pan);
    pan_->setToolTip(cText("Pan %.2f", track.pan));
    update();
}

void TrackHeader::editTrack(std::optional<std::string> coalesce, const std::function<void(Track&)>& body) {
    Studio& studio = model_.studio();
    if (const auto index = studio.project().trackIndex(id_)) studio.updateTrack(*index, std::move(coalesce), body);
}

void TrackHeader::paintEvent(QPaintEvent*) {
    const Palette& p = Theme::palette();
    const Studio& studio = model_.studio();
    const Project& project = studio.project();
    if (index_ >= project.tracks.size()) return;
    const Track& track = project.tracks[index_];
    const bool selected = studio.selectedTrackID() == track.id;
    QPainter painter(this);
    painter.fillRect(rect(), selected ? p.surface : (hovering_ ? p.hover : p.body));
    painter.fillRect(QRectF(0, 0, 2, height()), Theme::trackColor(track.colorIndex));
    painter.fillRect(QRectF(0, height() - 1, width(), 1), p.line);

    QFont font = painter.font();
    font.setPixelSize(11);
    painter.setFont(font);
    painter.setPen(p.ink3);
    painter.drawText(QRectF(12, 8, 22, 18), Qt::AlignLeft | Qt::AlignVCenter,
                     cText("%02d", static_cast<int>(index_ + 1)));
    if (!nameField_->isVisible()) {
        font.setPixelSize(13);
        font.setBold(selected);
        painter.setFont(font);
        painter.setPen(p.ink);
        const QRectF name = nameRect();
        painter.drawText(name, Qt::AlignLeft | Qt::AlignVCenter,
                         painter.fontMetrics().elidedText(QString::fromStdString(track.name), Qt::ElideRight,
                                                          static_cast<int>(name.width())));
    }
    if (track.midiOut) {
        font.setPixelSize(9);
        font.setBold(true);
        painter.setFont(font);
        const QRectF badge(width() - 8 - 34, 35, 34, 14);
        const bool connected = midiDeviceListed(track.midiOut->device, studio.midiDestinations());
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(connected ? Theme::blue : Theme::red, 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(badge.adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
        painter.drawText(badge, Qt::AlignCenter, "MIDI");
    }
}

void TrackHeader::mousePressEvent(QMouseEvent*) { model_.studio().selectTrack(id_); }

void TrackHeader::mouseDoubleClickEvent(QMouseEvent* event) {
    if (nameRect().contains(event->position())) beginRename();
}

void TrackHeader::beginRename() {
    const Project& project = model_.studio().project();
    const auto index = project.trackIndex(id_);
    if (!index) return;
    nameField_->setText(QString::fromStdString(project.tracks[*index].name));
    nameField_->show();
    nameField_->setFocus();
    nameField_->selectAll();
    update();
}

void TrackHeader::commitName() {
    if (!nameField_->isVisible()) return;
    nameField_->hide();
    const std::string name = nameField_->text().trimmed().toStdString();
    if (!name.empty()) editTrack(std::nullopt, [&name](Track& t) { t.name = name; });
    update();
}

bool TrackHeader::event(QEvent* event) {
    // The MIDI badge explains itself; the rest of the row tells how to rename.
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const Studio& studio = model_.studio();
        const auto index = studio.project().trackIndex(id_);
        QString text = "Double-click to rename";
        const auto& route = index ? studio.project().tracks[*index].midiOut : std::nullopt;
        if (route && help->pos().x() >= width() - 42 && help->pos().y() >= 30)
            text = midiIndicatorText(*route, studio.midiDestinations());
        QToolTip::showText(help->globalPos(), text, this);
        return true;
    }
    return QWidget::event(event);
}

void TrackHeader::contextMenuEvent(QContextMenuEvent* event) {
    Studio& studio = model_.studio();
    const auto shown = studio.project().trackIndex(id_);
    if (!shown) return;
    const std::size_t count = studio.project().tracks.size();
    // The menu stays open while agents edit: each item finds the track again when chosen.
    const auto onTrack = [this, &studio](auto action) {
        return [this, &studio, action] {
            if (const auto index = studio.project().trackIndex(id_)) action(*index);
        };
    };
    QMenu menu(this);
    menu.addAction("Duplicate Track", onTrack([&studio](std::size_t i) { studio.duplicateTrack(i); }));
    menu.addAction("Move Up", onTrack([&studio](std::size_t i) {
        if (i > 0) studio.moveTrack(i, i - 1);
    }))->setEnabled(*shown > 0);
    menu.addAction("Move Down", onTrack([&studio](std::size_t i) {
        if (i + 1 < studio.project().tracks.size()) studio.moveTrack(i, i + 1);
    }))->setEnabled(*shown + 1 < count);
    fillMIDIRouteMenu(*menu.addMenu("MIDI Out"), studio, id_);
    QMenu* colors = menu.addMenu("Color");
    const int current = studio.project().tracks[*shown].colorIndex;
    for (int c = 0; c < trackColors; ++c) {
        QPixmap swatch(12, 12);
        swatch.fill(Theme::trackColor(c));
        QAction* item = colors->addAction(QIcon(swatch), colorNames[c],
                                          [this, c] { editTrack(std::nullopt, [c](Track& t) { t.colorIndex = c; }); });
        item->setCheckable(true);
        item->setChecked(current % trackColors == c);
    }
    menu.addSeparator();
    menu.addAction("Delete Track", onTrack([&studio](std::size_t i) { studio.removeTrack(i); }));
    menu.exec(event->globalPos());
}

void TrackHeader::enterEvent(QEnterEvent*) {
    hovering_ = true;
    update();
}

void TrackHeader::leaveEvent(QEvent*) {
    hovering_ = false;
    update();
}

} // namespace velmo
