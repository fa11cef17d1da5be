// A peak meter over 54 dB: green up to -9 dB, orange up to -1 dB, red above.
#pragma once

#include <QColor>
#include <QWidget>

namespace velmo {

// The lit share of the meter (0...1) for a linear peak `level`; -54 dB and below show nothing.
double meterFill(float level);
// The colour of the lit part for `level`.
QColor meterColor(float level);

// GUI thread only.
class LevelMeter final : public QWidget {
public:
    explicit LevelMeter(bool vertical, QWidget* parent = nullptr);
    void setLevel(float level);
    float level() const { return level_; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    float level_ = 0;
    bool vertical_;
};

} // namespace velmo
