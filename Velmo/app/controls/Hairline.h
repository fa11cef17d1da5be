// A one-pixel separator in the palette's `line` colour.
#pragma once

#include <QWidget>

namespace velmo {

// GUI thread only.
class Hairline final : public QWidget {
public:
    explicit Hairline(bool vertical = false, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent*) override;
};

} // namespace velmo
