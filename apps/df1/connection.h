// The way from the command line to a driver and an open port.
#pragma once

#include <QString>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "failure.h"

#include "drivers/driverinterface.h"
#include "host/deviceport.h"

#include "host/driverloader.h"
#include "host/project.h"

namespace CLI {
class App;
}

/// What the command line says; what it leaves out comes from the driver.
struct ConnectionOptions
{
    std::string plugin;
    std::string port = "sim";
    std::optional<std::string> line;
    std::optional<int> station;
    std::string project; ///< directory of a panel project; empty: none
    std::string hmiPort; ///< the port in it whose station is meant
    std::optional<int> timeout;
    std::optional<int> retry;
    std::optional<int> delay;
    int self = 0;
    std::string trace; ///< "-" or the file of a capture; empty: none

    void addTo(CLI::App& verb);
};

/// A loaded driver and an open port, with the embedded simulator behind it where
/// the port is "sim". Everything is closed and unloaded at the end of its life.
class Connection
{
public:
    /// Throws Failure when the options, the plugin or the port are unusable.
    explicit Connection(const ConnectionOptions& options);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Runs one read. When it fails, throws Failure with the driver's text, what was
    /// seen on the line and a hint.
    QByteArray read(const CommunicatorCommand& command);
    /// Runs one write. Throws as read() does.
    void write(const CommunicatorCommand& command, const QByteArray& data);

private:
    void requireSuccess(const QString& address);
    Failure failure(const QString& address);

    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

/// The plugin file that an option names, or the default one when it is empty.
QString pluginPath(const std::string& option);

/// The project in @p directory. Throws Failure when there is no usable one.
std::unique_ptr<host::Project> openProject(const std::string& directory);

/// The frames that a write would send if every one of them were confirmed. Opens
/// no port. Throws Failure when the options are unusable or the driver refuses.
std::vector<QByteArray> rehearse(const ConnectionOptions& options,
                                 const CommunicatorCommand& command, const QByteArray& data);
