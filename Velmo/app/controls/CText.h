// printf-style text that reads the same under every locale: "120.5", never "120,5". Qt's own
// formatter is used, which ignores the process's numeric locale.
#pragma once

#include <QString>

#include <cstdarg>

namespace velmo {

QString cText(const char* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace velmo
