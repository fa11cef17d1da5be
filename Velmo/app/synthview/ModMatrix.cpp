#include "synthview/ModMatrix.h"

#include "Studio/Studio.h"
#include "controls/BarFader.h"
#include "controls/CText.h"
#include "controls/PanelMenu.h"
#include "controls/TextLabel.h"
#include "synthview/PatchEdit.h"

#include <QGridLayout>
#include <QLabel>

#include <map>

namespace velmo {

namespace {

QStringList optionsOf(const ParamInfo& row) {
    QStringList options;
    if (const ChoiceParam* choice = row.choice())
        for (const std::string& option : choice->options) options << QString::fromStdString(option);
    return options;
}

} // namespace

ModMatrix::ModMatrix(Studio& studio, std::string trackID, std::vector<const ParamInfo*> rows, QColor color,
                     QWidget* parent)
    : QWidget(parent) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(3);
    // A slot is the rows sharing the prefix "mod.<slot>.": its source, destination and amount.
    std::vector<std::string> prefixes;
    std::map<std::string, std::map<std::string, const ParamInfo*>> bySlot;
    for (const ParamInfo* row : rows) {
        const auto dot = row->path.rfind('.');
        const std::string prefix = row->path.substr(0, dot);
        if (!bySlot.count(prefix)) prefixes.push_back(prefix);
        bySlot[prefix][row->path.substr(dot + 1)] = row;
    }
    for (const std::string& prefix : prefixes) {
        auto& fields = bySlot[prefix];
        const ParamInfo *source = fields["source"], *destination = fields["destination"], *amount = fields["amount"];
        if (!source || !destination || !amount) continue;
        const int slot = static_cast<int>(slots_.size());
        Slot s{source->path, destination->path, amount->path, new PanelMenu("", optionsOf(*source)),
               new PanelMenu("", optionsOf(*destination)), nullptr, textLabel("", 11)};
        const NumberParam* range = amount->number();
        s.fader = new BarFader({range ? range->min : -1, range ? range->max : 1, false}, 0.0, true, color);
        s.fader->setFixedWidth(110);
        s.sourceMenu->setObjectName(QString::fromStdString(s.source));
        s.destinationMenu->setObjectName(QString::fromStdString(s.destination));
        s.fader->setObjectName(QString::fromStdString(s.amount));
        s.amountText->setFixedWidth(40);
        s.sourceMenu->onSelect = [&studio, trackID, path = s.source](const QString& name) {
            setPatchParam(studio, trackID, path, name.toStdString(), std::nullopt);
        };
        s.destinationMenu->onSelect = [&studio, trackID, path = s.destination](const QString& name) {
            setPatchParam(studio, trackID, path, name.toStdString(), std::nullopt);
        };
        s.fader->onChange = [&studio, trackID, path = s.amount, slot](double value) {
            const auto index = studio.project().trackIndex(trackID);
            if (index) setPatchParam(studio, trackID, path, value, "mod-" + std::to_string(*index) + "-" + std::to_string(slot));
        };
        grid->addWidget(textLabel(cText("%02d", slot + 1), 11), slot, 0);
        grid->addWidget(s.sourceMenu, slot, 1);
        grid->addWidget(textLabel("→", 11), slot, 2);
        grid->addWidget(s.destinationMenu, slot, 3);
        grid->addWidget(s.fader, slot, 4);
        grid->addWidget(s.amountText, slot, 5);
        slots_.push_back(s);
    }
}

void ModMatrix::showPatch(const nlohmann::json& patch) {
    for (Slot& s : slots_) {
        if (const nlohmann::json* v = lookup(s.source, patch); v && v->is_string())
            s.sourceMenu->setValue(QString::fromStdString(v->get<std::string>()));
        if (const nlohmann::json* v = lookup(s.destination, patch); v && v->is_string())
            s.destinationMenu->setValue(QString::fromStdString(v->get<std::string>()));
        if (const nlohmann::json* v = lookup(s.amount, patch); v && v->is_number()) {
            s.fader->setValue(v->get<double>());
            s.amountText->setText(cText("%+.2f", v->get<double>()));
        }
    }
}

} // namespace velmo
