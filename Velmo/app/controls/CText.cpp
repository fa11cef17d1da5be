#include "controls/CText.h"

namespace velmo {

QString cText(const char* format, ...) {
    va_list args;
    va_start(args, format);
    QString text = QString::vasprintf(format, args);
    va_end(args);
    return text;
}

} // namespace velmo
