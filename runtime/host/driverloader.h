// Loads a driver plugin.
#pragma once

#include <QCoreApplication>
#include <QPluginLoader>
#include <QString>

#include <memory>

#include "drivers/driverinterface.h"

namespace host {

/// Has @p driver go on from a transaction number that the time gives: within a second or
/// two, no program goes on where one before it ended. A new driver begins at 1, and a
/// controller discards a request that carries the SRC, CMD and TNS of the one before
/// (publication 1770-6.5.16, duplicate detection): of two programs, one run after the other,
/// the second would lose its first attempt. Sends nothing; takes up to a millisecond.
void scatterTransactionNumbers(DriverInterface& driver);

/// Where the driver plugin is looked for by default: the file that the
/// environment variable MICROLOGIX_PLUGIN names, else the place where an installed
/// program finds it, seen from @p programFolder, else ../lib/libmicrologix.so of a
/// build folder. Where there is no file at all, the installed place. Needs a
/// QCoreApplication.
QString defaultDriverPath(const QString& programFolder = QCoreApplication::applicationDirPath());

/// A loaded driver plugin and its driver object.
///
/// The object lives as long as the loader, which deletes it. Loaders of the same
/// file in one program share one object; it goes with the last of them. The file
/// stays mapped, as Qt does it with every plugin.
class DriverLoader
{
public:
    explicit DriverLoader(const QString& path = defaultDriverPath());
    ~DriverLoader();
    DriverLoader(const DriverLoader&) = delete;
    DriverLoader& operator=(const DriverLoader&) = delete;

    /// The driver, owned by the loader; null when the file can't be used.
    DriverInterface* driver() const { return m_driver; }
    /// A further driver object, which shares nothing with driver() or any other; goes
    /// before the loader does. Null, with the reason in @p error, which is not null,
    /// when the file makes none. For any thread.
    std::unique_ptr<DriverInterface> create(QString* error) const;
    /// What is wrong with the file, in one line; empty when there is a driver.
    const QString& error() const { return m_error; }

    // What the file says of itself; empty where it says nothing.

    /// Absolute path of the loaded file.
    QString fileName() const { return m_loader.fileName(); }
    /// The interface that the plugin announces.
    QString interfaceId() const;
    /// Major and minor version of the Qt that it was built for, such as 5.15.
    QString builtForQt() const;
    /// The text that a Qt 4 host's loader compares with its own.
    QString verificationText() const;

private:
    QFunctionPointer resolve(const char* symbol) const;
    QString load();

    QPluginLoader m_loader;
    DriverInterface* m_driver = nullptr;
    QString m_error;
};

}
