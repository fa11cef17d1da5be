// The text a control shows for its value, chosen by unit: "1.2 kHz", "500 ms", "+3.0 dB".
#pragma once

#include <QString>

namespace velmo {

QString formatValue(double value, const QString& unit, bool integer);

} // namespace velmo
