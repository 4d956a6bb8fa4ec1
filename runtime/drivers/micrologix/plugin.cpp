#include "drivers/micrologix/micrologix.h"

#if QT_VERSION < 0x050000

#include <QtPlugin>

Q_EXPORT_PLUGIN2(micrologix, DriverABMicroLogix)

#else

// Later versions of Qt no longer make the verification text that the panels'
// loader compares; version and build key come from the build's settings.
extern "C" Q_DECL_EXPORT const char* qt_plugin_query_verification_data()
{
    return "pattern=QT_PLUGIN_VERIFICATION_DATA\n"
           "version=" MLX_VERIFICATION_VERSION "\n"
           "debug=false\n"
           "buildkey=" MLX_VERIFICATION_BUILD_KEY;
}

#endif

/// A new driver object, which the caller owns and deletes.
extern "C" Q_DECL_EXPORT DriverInterface* CreateDriver()
{
    return new DriverABMicroLogix;
}
