// What an X11 session's settings daemon tells of the theme.

#include "ui/x_settings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArrayView property(reinterpret_cast<const char*>(data),
                                  static_cast<qsizetype>(size));
    if (const auto theme = sorrelwind::gtkThemeIn(property))
        (void)theme->dark();
    return 0;
}
