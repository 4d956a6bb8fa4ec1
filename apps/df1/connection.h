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
#include "host/linesettings.h"
#include "host/profile.h"
#include "host/project.h"
#include "host/requestplan.h"
#include "host/requestsplit.h"
#include "host/traffic.h"

namespace CLI {
class App;
}

namespace simulator {
class PtyServer;
}

class Trace;
struct OutputOptions;

/// What the command line says; what it leaves out comes from the link that it names in
/// a profile file, and then from the driver.
struct ConnectionOptions
{
    std::string plugin;
    std::string link;                ///< its name in the profile file; empty: none
    std::string profile;             ///< empty: the default file
    std::optional<std::string> port; ///< without it the embedded simulator
    std::optional<std::string> line;
    std::optional<int> station;
    std::string project; ///< directory of a panel project; empty: none
    std::string hmiPort; ///< the port in it whose station is meant
    std::optional<int> timeout;
    std::optional<int> retry;
    std::optional<int> delay;
    std::optional<int> self;
    std::optional<int> limit; ///< data bytes that one message may carry
    std::string trace;        ///< "-" or the file of a capture; empty: none

    /// Adds the options and a first positional, the link's name: to be called before
    /// the verb's own positionals are added.
    void addTo(CLI::App& verb);
    /// Takes over what the named link says and the command line does not. Throws
    /// Failure when there is no such link.
    void takeProfile();
    bool isSimulator() const;
    /// Tells people of it who have not asked for it, so that they take its values for no
    /// machine's.
    void tellOfSimulator(const OutputOptions& output) const;
    int dataBytes() const { return limit.value_or(host::USUAL_DATA_BYTES); }
};

/// A driver that is there; making one throws Failure.
class LoadedDriver
{
public:
    explicit LoadedDriver(const std::string& plugin);

    DriverInterface& operator*() const { return *m_loader.driver(); }
    DriverInterface* operator->() const { return m_loader.driver(); }
    /// A further driver, which shares nothing with this one and goes before it; its
    /// transaction numbers begin where the time says.
    std::unique_ptr<DriverInterface> create() const;

private:
    host::DriverLoader m_loader;
};

/// What the options say of a link, all of it; the embedded simulator runs where they
/// mean that.
struct LinkPlace
{
    /// Throws Failure when the options are unusable.
    LinkPlace(ConnectionOptions options, DriverInterface& driver);
    ~LinkPlace();
    LinkPlace(LinkPlace&&) noexcept;

    QString link; ///< as host::Link::open takes it
    host::LineSettings line;
    host::PortSettings port;
    int dataBytes = host::USUAL_DATA_BYTES; ///< that one message may carry
    std::unique_ptr<simulator::PtyServer> simulator;
    std::unique_ptr<Trace> trace; ///< of the link's traffic; null: none is wanted
};

/// Shows the link's traffic to its trace; empty: none is wanted. @p place lasts longer.
host::TrafficReader::Taker observerOf(const LinkPlace& place);
/// Throws what has gone wrong with the link's trace, once.
void requireTrace(const LinkPlace& place);

/// A loaded driver and an open port, with the embedded simulator behind it where
/// the port is "sim". Everything is closed and unloaded at the end of its life.
class Connection
{
public:
    /// Throws Failure when the options, the plugin or the port are unusable.
    explicit Connection(ConnectionOptions options);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Runs one read. When it fails, throws Failure with the driver's text, what was
    /// seen on the line and a hint.
    QByteArray read(const CommunicatorCommand& command);
    /// The speed and the limits of the line.
    host::PlanSettings planSettings() const;
    /// Runs one write. Throws as read() does.
    void write(const CommunicatorCommand& command, const QByteArray& data);
    /// The open port, traced as reads and writes are; for use between them.
    AbstractDeviceInterface& port();
    const host::PortSettings& portSettings() const;

private:
    void requireSuccess(const QString& address);
    Failure failure(const QString& address) const;

    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

/// The plugin file that an option names, or the default one when it is empty.
QString pluginPath(const std::string& option);

/// The project in @p directory. Throws Failure when there is no usable one.
std::unique_ptr<host::Project> openProject(const std::string& directory);

/// The links in @p file, or in the default one when it is empty. Throws Failure when
/// the file can't be used.
host::LinkProfiles openProfiles(const std::string& file);

/// The frames that the writes would send if every one of them were confirmed. Opens
/// no port. Throws Failure when the options are unusable or the driver refuses.
std::vector<QByteArray> rehearse(ConnectionOptions options,
                                 const std::vector<host::WritePiece>& writes);
