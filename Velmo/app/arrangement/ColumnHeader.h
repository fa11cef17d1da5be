// The corner above the track headers, level with the ruler: the words "track" and "output", and
// while any track is muted or soloed a button that clears them all.
#pragma once

#include <QWidget>

class QPushButton;

namespace velmo {

class AppModel;

// GUI thread only.
class ColumnHeader final : public QWidget {
public:
    explicit ColumnHeader(AppModel& model, QWidget* parent = nullptr);
    QPushButton& clearButton() { return *clear_; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    AppModel& model_;
    QPushButton* clear_;
};

} // namespace velmo
