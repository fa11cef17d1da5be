#include "synthview/ParamGrid.h"

#include "Studio/Studio.h"
#include "controls/Knob.h"
#include "controls/PanelMenu.h"
#include "controls/PillToggle.h"
#include "synthview/PatchEdit.h"

#include <QGridLayout>

#include <cmath>

namespace velmo {

namespace {

// Up to five controls make one row; more are shared out over two rows.
int columnsFor(std::size_t count) {
    return count <= 5 ? static_cast<int>(count) : static_cast<int>((count + 1) / 2);
}

QString text(const std::string& s) { return QString::fromStdString(s); }

} // namespace

ParamGrid::ParamGrid(Studio& studio, std::string trackID, std::vector<const ParamInfo*> params, QColor color,
                     QWidget* parent)
    : QWidget(parent), studio_(studio), trackID_(std::move(trackID)) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(4);
    grid->setVerticalSpacing(6);
    const int columns = std::max(columnsFor(params.size()), 1);
    for (std::size_t i = 0; i < params.size(); ++i) {
        QWidget* control = makeControl(*params[i], color);
        control->setObjectName(text(params[i]->path));
        grid->addWidget(control, static_cast<int>(i) / columns, static_cast<int>(i) % columns, Qt::AlignCenter);
        controls_.emplace_back(params[i], control);
    }
}

QWidget* ParamGrid::makeControl(const ParamInfo& spec, QColor color) {
    const std::string path = spec.path;
    const std::string key = trackID_ + "-" + path;
    if (const NumberParam* number = spec.number()) {
        std::optional<double> initial;
        if (spec.defaultValue.is_number()) initial = spec.defaultValue.get<double>();
        auto* knob = new Knob(text(spec.label), {number->min, number->max, number->log}, text(number->unit),
                              number->integer, initial, color);
        knob->setHelp(text(spec.help));
        knob->onChange = [this, path, key](double value) { setPatchParam(studio_, trackID_, path, value, key); };
        return knob;
    }
    if (const ChoiceParam* choice = spec.choice()) {
        QStringList options;
        for (const std::string& option : choice->options) options << text(option);
        auto* menu = new PanelMenu(text(spec.label), options);
        menu->setToolTip(text(spec.help));
        menu->onSelect = [this, path, key](const QString& option) {
            setPatchParam(studio_, trackID_, path, option.toStdString(), key);
        };
        return menu;
    }
    auto* toggle = new PillToggle(text(spec.label), color, text(spec.help));
    toggle->action = [this, path, key, toggle] { setPatchParam(studio_, trackID_, path, !toggle->on(), key); };
    return toggle;
}

void ParamGrid::showPatch(const nlohmann::json& patch) {
    for (const auto& [spec, control] : controls_) {
        const nlohmann::json* value = lookup(spec->path, patch);
        if (!value) continue;
        if (spec->number() && value->is_number()) static_cast<Knob*>(control)->setValue(value->get<double>());
        else if (spec->choice() && value->is_string()) static_cast<PanelMenu*>(control)->setValue(text(value->get<std::string>()));
        else if (spec->isToggle() && value->is_boolean()) static_cast<PillToggle*>(control)->setOn(value->get<bool>());
    }
}

} // namespace velmo
