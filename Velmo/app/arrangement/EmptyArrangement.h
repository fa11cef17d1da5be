// What the arrangement shows while the song has no tracks: an invitation and one button per
// preset category to add the first instrument.
#pragma once

#include <QWidget>

namespace velmo {

class AppModel;

// GUI thread only.
class EmptyArrangement final : public QWidget {
public:
    explicit EmptyArrangement(AppModel& model, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent*) override;
};

} // namespace velmo
