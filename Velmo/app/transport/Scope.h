// The oscilloscope: the engine's latest samples as one line across the width, centred.
#pragma once

#include <QWidget>

#include <vector>

namespace velmo {

// GUI thread only.
class Scope final : public QWidget {
public:
    explicit Scope(QWidget* parent = nullptr);
    void setSamples(const std::vector<float>& samples);

protected:
    void paintEvent(QPaintEvent*) override;

private:
    std::vector<float> samples_;
};

} // namespace velmo
