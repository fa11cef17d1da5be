#include "arrangement/MIDIRouteMenu.h"

#include "Studio/Studio.h"

#include <QMenu>

#include <algorithm>

namespace velmo {

namespace {

constexpr int channels = 16;

} // namespace

bool midiDeviceListed(const std::string& device, const std::vector<MIDIDestination>& destinations) {
    return std::any_of(destinations.begin(), destinations.end(), [&](const auto& d) { return d.name == device; });
}

void fillMIDIRouteMenu(QMenu& menu, Studio& studio, const std::string& track) {
    const auto shown = studio.project().trackIndex(track);
    if (!shown) return;
    const std::optional<MIDIRoute> current = studio.project().tracks[*shown].midiOut;
    const auto route = [&studio, track](std::optional<MIDIRoute> to) {
        if (const auto index = studio.project().trackIndex(track)) studio.setMIDIOut(*index, std::move(to));
    };
    const auto& destinations = studio.midiDestinations();
    menu.addSection("Send notes to");
    QAction* internal = menu.addAction("Internal synth only", [route] { route(std::nullopt); });
    internal->setCheckable(true);
    internal->setChecked(!current);
    for (const MIDIDestination& destination : destinations) {
        QMenu* device = menu.addMenu(QString::fromStdString(destination.name));
        for (int channel = 1; channel <= channels; ++channel) {
            const MIDIRoute to{destination.name, channel, current ? current->playInternal : false};
            QAction* item = device->addAction(QString("Channel %1").arg(channel), [route, to] { route(to); });
            item->setCheckable(true);
            item->setChecked(current && current->device == destination.name && current->channel == channel);
        }
    }
    if (current && !midiDeviceListed(current->device, destinations)) {
        QAction* missing = menu.addAction(QString::fromStdString(current->device) + " (not connected)");
        missing->setCheckable(true);
        missing->setChecked(true);
        missing->setEnabled(false);
    }
    if (destinations.empty()) menu.addAction("No MIDI devices found")->setEnabled(false);
    menu.addSeparator();
    QAction* both = menu.addAction("Also play internal synth", [route, current] {
        if (!current) return;
        MIDIRoute to = *current;
        to.playInternal = !to.playInternal;
        route(to);
    });
    both->setCheckable(true);
    both->setChecked(current && current->playInternal);
    both->setEnabled(current.has_value());
}

QString midiIndicatorText(const MIDIRoute& route, const std::vector<MIDIDestination>& destinations) {
    const QString device = QString::fromStdString(route.device) + (midiDeviceListed(route.device, destinations) ? "" : " is not connected");
    return "MIDI out: " + device + ", channel " + QString::number(route.channel);
}

} // namespace velmo
