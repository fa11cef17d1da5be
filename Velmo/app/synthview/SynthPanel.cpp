#include "synthview/SynthPanel.h"

#include "AppModel.h"
#include "Theme.h"
#include "catalog/Presets.h"
#include "catalog/SynthCatalog.h"
#include "catalog/SynthPatchPaths.h"
#include "controls/FlowLayout.h"
#include "controls/PanelSection.h"
#include "controls/Segmented.h"
#include "synthview/Drawbars.h"
#include "synthview/Keyboard.h"
#include "synthview/MIDIBanner.h"
#include "synthview/ModMatrix.h"
#include "synthview/ParamGrid.h"

#include <QHBoxLayout>
#include <QMenu>
#include <QScrollArea>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

namespace velmo {

namespace {

QString text(std::string_view s) { return QString::fromUtf8(s.data(), static_cast<int>(s.size())); }

bool connected(const Studio& studio, const MIDIRoute& route) {
    const auto& destinations = studio.midiDestinations();
    return std::any_of(destinations.begin(), destinations.end(),
                       [&](const MIDIDestination& d) { return d.name == route.device; });
}

} // namespace

SynthPanel::SynthPanel(AppModel& model, const Track& track, QWidget* parent)
    : QWidget(parent), model_(model), trackID_(track.id), engine_(track.patch.engine) {
    Studio& studio = model_.studio();
    banner_ = new MIDIBanner;
    banner_->disconnect = [this, &studio] {
        if (auto index = studio.project().trackIndex(trackID_)) studio.setMIDIOut(*index, std::nullopt);
    };

    QStringList titles, help;
    for (EngineKind kind : allCases<EngineKind>()) {
        titles << text(label(kind));
        help << text(summary(kind));
    }
    engines_ = new Segmented(titles, help);
    engines_->setObjectName("engine");
    engines_->onSelect = [this, &studio](int index) {
        if (auto track = studio.project().trackIndex(trackID_))
            studio.setSynth(*track, static_cast<EngineKind>(index), std::nullopt, nlohmann::json::object());
    };
    auto* header = new QHBoxLayout;
    header->setContentsMargins(12, 8, 12, 4);
    header->setSpacing(10);
    header->addWidget(engines_);
    header->addWidget(buildPresetMenu());
    header->addStretch(1);

    auto* scroll = new QScrollArea;
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setWidget(buildSections(track));

    const QColor color = Theme::trackColor(track.colorIndex);
    keyboard_ = new Keyboard(model_, trackID_, color, engine_ == EngineKind::drums);
    keyboard_->setObjectName("keyboard");

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 8);
    column->setSpacing(4);
    column->addWidget(banner_);
    column->addLayout(header);
    column->addWidget(scroll, 1);
    auto* keys = new QHBoxLayout;
    keys->setContentsMargins(12, 0, 12, 0);
    keys->addWidget(keyboard_);
    column->addLayout(keys);
    showTrack(track);
}

QPushButton* SynthPanel::buildPresetMenu() {
    Studio& studio = model_.studio();
    auto* button = new QPushButton("Presets");
    button->setObjectName("presets");
    button->setFocusPolicy(Qt::NoFocus);
    auto* menu = new QMenu(button);
    for (std::string_view category : Presets::categories) {
        menu->addSection(text(category));
        for (const Preset& preset : Presets::all()) {
            if (preset.category != category) continue;
            menu->addAction(QString::fromStdString(preset.name), this, [this, &studio, name = preset.name] {
                if (auto track = studio.project().trackIndex(trackID_))
                    studio.setSynth(*track, std::nullopt, name, nlohmann::json::object());
            });
        }
    }
    button->setMenu(menu);
    return button;
}

QWidget* SynthPanel::buildSections(const Track& track) {
    Studio& studio = model_.studio();
    const QColor color = Theme::trackColor(track.colorIndex);
    auto* content = new QWidget;
    auto* flow = new FlowLayout(10, content);
    flow->setContentsMargins(12, 4, 12, 8);
    for (const std::string& name : SynthCatalog::sections(engine_)) {
        std::vector<const ParamInfo*> rows;
        for (const ParamInfo& row : SynthCatalog::params())
            if (row.section == name && (!row.engine || row.engine == engine_)) rows.push_back(&row);
        const bool isEngine = !rows.empty() && rows.front()->engine.has_value();
        QWidget* body;
        if (name == "Harmonics") {
            auto* bars = new Drawbars(studio, trackID_, rows, color);
            showPatch_.push_back([bars](const nlohmann::json& patch) { bars->showPatch(patch); });
            body = bars;
        } else if (name == "Modulation") {
            auto* matrix = new ModMatrix(studio, trackID_, rows, color);
            showPatch_.push_back([matrix](const nlohmann::json& patch) { matrix->showPatch(patch); });
            body = matrix;
        } else {
            auto* grid = new ParamGrid(studio, trackID_, rows, color);
            showPatch_.push_back([grid](const nlohmann::json& patch) { grid->showPatch(patch); });
            body = grid;
        }
        flow->addWidget(new PanelSection(QString::fromStdString(name), Theme::sectionColor(QString::fromStdString(name), isEngine), body));
    }
    return content;
}

void SynthPanel::showTrack(const Track& track) {
    engines_->setSelection(static_cast<int>(track.patch.engine));
    banner_->setVisible(track.midiOut.has_value());
    if (track.midiOut) banner_->showRoute(*track.midiOut, connected(model_.studio(), *track.midiOut));
    keyboard_->setColor(Theme::trackColor(track.colorIndex));
    const nlohmann::json patch = jsonObject(track.patch);
    for (const auto& show : showPatch_) show(patch);
}

} // namespace velmo
