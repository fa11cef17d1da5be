#include "controls/FormatValue.h"

#include "controls/CText.h"

#include <cmath>

namespace velmo {

QString formatValue(double value, const QString& unit, bool integer) {
    if (integer) {
        QString text = QString::number(static_cast<long long>(std::round(value)));
        return unit.isEmpty() ? text : text + " " + unit;
    }
    if (unit == "Hz") {
        if (value >= 1000) return cText("%.1f kHz", value / 1000);
        if (value < 10) return cText("%.2f Hz", value);
        return cText("%.0f Hz", value);
    }
    if (unit == "s") return value < 1 ? cText("%.0f ms", value * 1000) : cText("%.2f s", value);
    if (unit == "ms") return cText("%.0f ms", value);
    if (unit == "dB") return cText("%+.1f dB", value);
    if (unit == "ct") return cText("%+.1f ", value) + unit;
    if (unit == "beats") return cText("%.3g beats", value);
    return std::fabs(value) < 10 ? cText("%.2f", value) : cText("%.1f", value);
}

} // namespace velmo
