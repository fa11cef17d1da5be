// The column of track headers beside the lanes, one per track, and below the last the row with
// the "Add track" menu. Scrolls with the lanes.
#pragma once

#include <QWidget>

#include <string>
#include <vector>

class QVBoxLayout;

namespace velmo {

class AppModel;
class TrackHeader;

// GUI thread only.
class TrackColumn final : public QWidget {
public:
    explicit TrackColumn(AppModel& model, QWidget* parent = nullptr);

    TrackHeader& header(std::size_t index) { return *headers_[index]; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    // Makes a header per track when the tracks changed, else reads each again.
    void showTracks();

    AppModel& model_;
    QVBoxLayout* headerList_;
    std::vector<TrackHeader*> headers_;
    std::vector<std::string> shownIds_;
};

} // namespace velmo
