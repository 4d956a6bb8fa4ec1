// Every difference between Qt 4.8, 5.15 and 6 that the drivers meet, in one place.
// Versions stand as plain numbers: moc of Qt 4 can't evaluate QT_VERSION_CHECK.
#pragma once

#include <QRegExp>
#include <QString>
#include <QThread>
#include <QtGlobal>

#if QT_VERSION >= 0x050000
/// Names the class it stands in as the plugin's root object. Qt 4 plugins are
/// named by Q_EXPORT_PLUGIN2 in a source file instead, so there it is nothing.
#define DRIVER_PLUGIN_METADATA(iid) Q_PLUGIN_METADATA(IID iid)
#else
#define DRIVER_PLUGIN_METADATA(iid)
#endif

namespace qtcompat {

#if QT_VERSION < 0x050000
struct ProtectedSleep : QThread
{
    using QThread::msleep;
};
#endif

/// Blocks the calling thread for @p milliseconds.
inline void sleepMilliseconds(unsigned long milliseconds)
{
    // The system makes its timers' slack of it, 50 microseconds and more.
    if (milliseconds == 0)
        return;
#if QT_VERSION < 0x050000
    ProtectedSleep::msleep(milliseconds);
#else
    QThread::msleep(milliseconds);
#endif
}

/// Hands @p line to Qt's message handler as one debug message, unchanged:
/// later versions' qDebug() escapes texts and drops a final blank.
inline void debugMessage(const QString& line)
{
#if QT_VERSION < 0x050000
    qt_message_output(QtDebugMsg, line.toLocal8Bit().constData());
#else
    qt_message_output(QtDebugMsg, QMessageLogContext(), line);
#endif
}

}
