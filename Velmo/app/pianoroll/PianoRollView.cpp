#include "pianoroll/PianoRollView.h"

#include "AppModel.h"
#include "Placeholder.h"
#include "Theme.h"
#include "controls/BarFader.h"
#include "controls/DragNumber.h"
#include "controls/Hairline.h"
#include "controls/TextLabel.h"
#include "pianoroll/PianoKeys.h"
#include "pianoroll/PianoRollCanvas.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QStackedLayout>
#include <QWheelEvent>

#include <cmath>

namespace velmo {

namespace G = PianoRollGeometry;

PianoRollView::PianoRollView(AppModel& model, QWidget* parent) : QWidget(parent), model_(model) {
    QSettings settings;
    scale_.ppb = std::clamp(settings.value("rollZoom", 64.0).toDouble(), minZoom, maxZoom);
    scale_.rowH = std::clamp(settings.value("rollRowHeight", 13.0).toDouble(), minRowHeight, maxRowHeight);
    scale_.grid = settings.value("rollGrid", 0.25).toDouble();
    if (!(scale_.grid > 0)) scale_.grid = 0.25;

    Studio& studio = model_.studio();
    StudioSignals& signals = model_.studioSignals();

    clipName_ = textLabel("", 13, true);
    trackName_ = textLabel("", 11);
    length_ = new DragNumber(1, 512, 1, "%.0f beats", 12);
    length_->onChange = [this, &studio](double beats) {
        if (!shownClip_.empty()) studio.updateClip(shownClip_, "len-" + shownClip_, [&](Clip& c) { c.length = beats; });
    };
    velocity_ = new BarFader({0.1, 1, false}, 0.8, false, Theme::accent);
    velocity_->setFixedWidth(80);
    velocity_->setToolTip("Velocity of new notes");
    grid_ = new QComboBox;
    for (const auto& [step, title] : G::gridChoices) grid_->addItem(title, step);
    const int chosen = grid_->findData(scale_.grid);
    grid_->setCurrentIndex(chosen >= 0 ? chosen : 2);
    connect(grid_, &QComboBox::activated, this, [this](int index) { setGrid(grid_->itemData(index).toDouble()); });
    auto* quantize = new QPushButton("Quantize");
    connect(quantize, &QPushButton::clicked, this, &PianoRollView::quantize);
    zoom_ = new BarFader({minZoom, maxZoom, true}, 64.0, false, Theme::palette().ink3);
    zoom_->setFixedWidth(90);
    zoom_->onChange = [this](double ppb) { setZoom(ppb); };

    auto* toolbar = new QHBoxLayout;
    toolbar->setContentsMargins(12, 6, 12, 6);
    toolbar->setSpacing(8);
    toolbar->addWidget(clipName_);
    toolbar->addWidget(trackName_);
    toolbar->addSpacing(12);
    toolbar->addWidget(textLabel("Length", 11));
    toolbar->addWidget(length_);
    toolbar->addSpacing(8);
    toolbar->addWidget(textLabel("velocity", 11));
    toolbar->addWidget(velocity_);
    toolbar->addSpacing(8);
    toolbar->addWidget(grid_);
    toolbar->addWidget(quantize);
    toolbar->addSpacing(8);
    toolbar->addWidget(textLabel("Click to add, drag to move or resize, click a note to delete", 11));
    toolbar->addStretch(1);
    toolbar->addWidget(textLabel("Zoom", 11));
    toolbar->addWidget(zoom_);

    keys_ = new PianoKeys(signals, scale_.rowH);
    canvas_ = new PianoRollCanvas(signals, scale_);
    velocity_->setValue(canvas_->gesture().newVelocity);
    velocity_->onChange = [this](double v) {
        canvas_->gesture().newVelocity = v;
        velocity_->setValue(v);
    };
    zoom_->setValue(scale_.ppb);
    scroll_ = new QScrollArea;
    scroll_->setWidget(canvas_);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->viewport()->installEventFilter(this);
    connect(scroll_->verticalScrollBar(), &QScrollBar::valueChanged, keys_, &PianoKeys::setOffset);

    auto* rollRow = new QHBoxLayout;
    rollRow->setContentsMargins(0, 0, 0, 0);
    rollRow->setSpacing(0);
    rollRow->addWidget(keys_);
    rollRow->addWidget(scroll_, 1);

    auto* roll = new QWidget;
    auto* column = new QVBoxLayout(roll);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(toolbar);
    column->addWidget(new Hairline);
    column->addLayout(rollRow, 1);

    pages_ = new QStackedLayout(this);
    pages_->addWidget(new Placeholder("No clip selected", "Select a clip, or double-click an empty lane to create one."));
    pages_->addWidget(roll);

    connect(&signals, &StudioSignals::songChanged, this, &PianoRollView::showClip);
    connect(&signals, &StudioSignals::selectionChanged, this, &PianoRollView::showSelection);
    showSelection();
}

void PianoRollView::showSelection() {
    showClip();
    if (shownClip_.empty()) return;
    // A newly shown clip opens on its notes, or around C4 when it has none.
    const Clip* clip = model_.studio().clip(shownClip_);
    int high = 72, low = 48;
    if (clip && !clip->notes.empty()) {
        high = low = clip->notes[0].pitch;
        for (const Note& n : clip->notes) high = std::max(high, n.pitch), low = std::min(low, n.pitch);
    }
    const double middle = G::rowTop((high + low) / 2, scale_.rowH);
    scroll_->verticalScrollBar()->setValue(static_cast<int>(middle - scroll_->viewport()->height() / 2.0));
    scroll_->horizontalScrollBar()->setValue(0);
}

void PianoRollView::showClip() {
    Studio& studio = model_.studio();
    const auto& id = studio.selectedClipID();
    const Clip* clip = id ? studio.clip(*id) : nullptr;
    pages_->setCurrentIndex(clip ? 1 : 0);
    shownClip_ = clip ? clip->id : std::string();
    if (!clip) return;
    const auto at = studio.project().clipLocation(clip->id);
    clipName_->setText(QString::fromStdString(clip->name));
    trackName_->setText(QString::fromStdString(studio.project().tracks[at->track].name));
    length_->setValue(clip->length);
    canvas_->refit();
    keys_->update();
}

void PianoRollView::setZoom(double ppb) {
    scale_.ppb = std::clamp(ppb, minZoom, maxZoom);
    QSettings().setValue("rollZoom", scale_.ppb);
    zoom_->setValue(scale_.ppb);
    canvas_->refit();
}

void PianoRollView::setRowHeight(double rowH) {
    const double centre = (scroll_->verticalScrollBar()->value() + scroll_->viewport()->height() / 2.0) / scale_.rowH;
    scale_.rowH = std::clamp(rowH, minRowHeight, maxRowHeight);
    QSettings().setValue("rollRowHeight", scale_.rowH);
    canvas_->refit();
    scroll_->verticalScrollBar()->setValue(static_cast<int>(centre * scale_.rowH - scroll_->viewport()->height() / 2.0));
    keys_->update();
}

void PianoRollView::setGrid(double grid) {
    scale_.grid = grid;
    QSettings().setValue("rollGrid", grid);
    canvas_->update();
}

void PianoRollView::quantize() {
    if (shownClip_.empty()) return;
    const double grid = scale_.grid;
    model_.studio().editNotes(shownClip_, std::nullopt, [grid](NoteList& notes, double) {
        for (std::size_t i = 0; i < notes.size(); ++i) {
            const double start = std::round(notes[i].start / grid) * grid;
            if (start != notes[i].start) notes.mut(i).start = start;
        }
    });
}

// Ctrl with the wheel zooms in time, Alt with the wheel changes the row height.
void PianoRollView::wheelEvent(QWheelEvent* event) {
    const double steps = event->angleDelta().y() / 120.0;
    if (event->modifiers() & Qt::ControlModifier) setZoom(scale_.ppb * std::pow(1.15, steps));
    else if (event->modifiers() & Qt::AltModifier) setRowHeight(scale_.rowH + (event->angleDelta().x() + event->angleDelta().y()) / 120.0);
    else return QWidget::wheelEvent(event);
    event->accept();
}

bool PianoRollView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == scroll_->viewport() && event->type() == QEvent::Wheel) {
        auto* wheel = static_cast<QWheelEvent*>(event);
        if (wheel->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) {
            wheelEvent(wheel);
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace velmo
