#include "connection.h"

#include <CLI/CLI.hpp>

#include "drivers/drv_dev_setting.h"
#include "host/explanation.h"
#include "host/link.h"
#include "host/tracer.h"
#include "rehearsal.h"
#include "simulator/server.h"
#include "trace.h"

namespace {

const char* const SIMULATOR = "sim";
const quint32 SIMULATOR_SEED = 1;

/// A driver that is there, or Failure.
class LoadedDriver
{
public:
    explicit LoadedDriver(const std::string& plugin)
        : m_loader(pluginPath(plugin))
    {
        if (m_loader.driver() == nullptr)
            throw Failure(ExitCode::Usage, m_loader.error());
    }

    DriverInterface& operator*() const { return *m_loader.driver(); }
    DriverInterface* operator->() const { return m_loader.driver(); }

private:
    host::DriverLoader m_loader;
};

/// The station that the options name, themselves or by a project.
std::optional<int> stationOf(const ConnectionOptions& options)
{
    if (options.hmiPort.empty())
        return options.station;
    const auto project = openProject(options.project);
    QString error;
    const std::optional<int> station =
        project->stationAt(QString::fromStdString(options.hmiPort), &error);
    if (!station)
        throw Failure(ExitCode::Usage, project->fileName() + QStringLiteral(": ") + error);
    return station;
}

host::PortSettings portSettings(const ConnectionOptions& options, DriverInterface& driver)
{
    const std::unique_ptr<DriverSetting> defaults(driver.getDefaultDriverSetting());
    host::PortSettings settings;
    settings.timeoutMs = options.timeout.value_or(defaults->timeout);
    settings.retryCount = options.retry.value_or(defaults->retry);
    settings.destination = stationOf(options).value_or(defaults->stationid);
    settings.source = options.self;
    settings.delayMs = static_cast<unsigned int>(options.delay.value_or(defaults->delay));
    return settings;
}

host::LineSettings lineSettings(const ConnectionOptions& options, DriverInterface& driver)
{
    // The driver's own text begins with the port kind.
    const QString text = options.line ? QString::fromStdString(*options.line)
                                      : driver.getStringBasedDefaultDriverSetting().section(',', 1);
    QString error;
    const std::optional<host::LineSettings> line = host::LineSettings::parse(text, &error);
    if (!line)
        throw Failure(ExitCode::Usage, error);
    return *line;
}

std::unique_ptr<simulator::PtyServer> startSimulator(const host::PortSettings& settings)
{
    simulator::StationSettings station;
    station.station = static_cast<quint8>(settings.destination);
    auto server = std::make_unique<simulator::PtyServer>(
        simulator::Controller(simulator::seededTables(SIMULATOR_SEED)), station);
    QString error;
    if (!server->start(&error))
        throw Failure(ExitCode::Port, error);
    return server;
}

ExitCode exitCodeOf(const QString& driverText)
{
    if (driverText.endsWith(QLatin1String("address format")))
        return ExitCode::Usage;
    if (driverText.startsWith(QLatin1String("invalid address:")))
        return ExitCode::Refused;
    if (driverText == QLatin1String("PLC no response"))
        return ExitCode::NoAnswer;
    return ExitCode::Damaged;
}

/// The driver's last text, behind the address unless it names it already.
QString lastText(DriverInterface& driver, const QString& address)
{
    const QString text = driver.getLastError();
    return text.contains(address) ? text : address + QStringLiteral(": ") + text;
}

QString withHint(const QString& text, const host::Explanation& explanation)
{
    return QStringList{text, explanation.text, explanation.hint}.join(QStringLiteral("; "));
}

/// Without a controller, only the driver can have refused.
Failure refusalOf(DriverInterface& driver, const QString& address)
{
    return Failure(ExitCode::Usage,
                   lastText(driver, address) + QStringLiteral("; no command can carry this write"));
}

}

struct Connection::Parts
{
    explicit Parts(const ConnectionOptions& options)
        : driver(options.plugin)
        , trace(options.trace.empty() ? nullptr : std::make_unique<Trace>(options.trace))
        , reader([this](const host::Sighting& sighting) { see(sighting); })
    {}

    void see(const host::Sighting& sighting)
    {
        call.take(sighting);
        if (trace)
            trace->take(sighting);
    }

    /// What the driver has left unread belongs to the picture too.
    void seeTheRest()
    {
        port->setParameter(PORT_PARAM_CLEAR_INPUT, QVariant(0));
        reader.finish();
    }

    LoadedDriver driver;
    std::unique_ptr<Trace> trace; // null: none is wanted
    host::CallTraffic call;
    host::TrafficReader reader;
    std::unique_ptr<simulator::PtyServer> simulator;
    std::unique_ptr<host::Link> link;
    std::unique_ptr<host::Tracer> port;
};

void ConnectionOptions::addTo(CLI::App& verb)
{
    verb.add_option("--port", port,
                    "Serial device (/dev/ttyUSB0), TCP device server (tcp://host:port), or sim, "
                    "the embedded simulated controller")
        ->capture_default_str();
    verb.add_option(
        "--line", line,
        "Baud rate, parity, data bits and stop bits (the driver's own: 19200,NONE,8,1)");
    CLI::Option* const stationOption =
        verb.add_option("--station", station, "Station number of the controller (1)")
            ->check(CLI::Range(0, 254));
    CLI::Option* const projectOption =
        verb.add_option("--project", project, "Panel project to take the station from")
            ->type_name("DIR");
    CLI::Option* const hmiPortOption =
        verb.add_option(
                "--hmi-port", hmiPort,
                "Port in the project, such as COM2: the station is that of its default node")
            ->type_name("NAME")
            ->needs(projectOption)
            ->excludes(stationOption);
    projectOption->needs(hmiPortOption);
    verb.add_option("--self", self, "Station number of this computer")
        ->check(CLI::Range(0, 254))
        ->capture_default_str();
    verb.add_option("--timeout", timeout, "Milliseconds of silence that end a wait (500)")
        ->check(CLI::Range(1, 600000));
    verb.add_option("--retry", retry, "Further attempts after a failed one (3)")
        ->check(CLI::Range(0, 1000));
    verb.add_option("--delay", delay, "Milliseconds to pause before every attempt (0)")
        ->check(CLI::Range(0, 600000));
    verb.add_option("--trace", trace,
                    "Show the line's traffic on standard error (-), or keep it in a capture file "
                    "for Wireshark and df1 decode")
        ->type_name("FILE");
    verb.add_option("--plugin", plugin, "Driver plugin to load instead of the installed one")
        ->type_name("FILE");
}

Connection::Connection(const ConnectionOptions& options)
    : m_parts(std::make_unique<Parts>(options))
{
    DriverInterface& driver = *m_parts->driver;
    const host::LineSettings line = lineSettings(options, driver);
    const host::PortSettings settings = portSettings(options, driver);

    QString error;
    QString portText = QString::fromStdString(options.port);
    if (options.port == SIMULATOR) {
        m_parts->simulator = startSimulator(settings);
        portText = m_parts->simulator->portName();
    }
    m_parts->link = host::Link::open(portText, line, settings, &error);
    if (!m_parts->link)
        throw Failure(ExitCode::Port, error);
    m_parts->port = std::make_unique<host::Tracer>(
        m_parts->link->port(),
        [parts = m_parts.get()](const host::LineEvent& event) { parts->reader.take(event); });
    host::scatterTransactionNumbers(driver);
}

Connection::~Connection() = default;

QByteArray Connection::read(const CommunicatorCommand& command)
{
    m_parts->call.beginCall();
    QByteArray data = m_parts->driver->read(m_parts->port.get(), command);
    requireSuccess(command.address);
    return data;
}

void Connection::write(const CommunicatorCommand& command, const QByteArray& data)
{
    m_parts->call.beginCall();
    m_parts->driver->write(m_parts->port.get(), command, data);
    requireSuccess(command.address);
}

void Connection::requireSuccess(const QString& address)
{
    const bool hasFailed = m_parts->driver->hasError();
    if (hasFailed)
        m_parts->seeTheRest();
    const std::optional<Failure> untraced =
        m_parts->trace ? m_parts->trace->takeFailure() : std::nullopt;
    if (!hasFailed && !untraced)
        return;
    if (!hasFailed)
        throw *untraced;
    if (untraced)
        report(*untraced);
    throw failure(address);
}

Failure Connection::failure(const QString& address)
{
    DriverInterface& driver = *m_parts->driver;
    const QString lost = m_parts->link->port().deviceError();
    if (!lost.isEmpty())
        return Failure(ExitCode::Port, withHint(m_parts->link->text(), host::lossOfPort(lost)));
    return Failure(exitCodeOf(driver.getLastError()),
                   withHint(lastText(driver, address), m_parts->call.explain()));
}

QString pluginPath(const std::string& option)
{
    return option.empty() ? host::defaultDriverPath() : QString::fromStdString(option);
}

std::unique_ptr<host::Project> openProject(const std::string& directory)
{
    QString error;
    auto project = host::Project::open(QString::fromStdString(directory), &error);
    if (!project)
        throw Failure(ExitCode::Usage, error);
    return project;
}

std::vector<QByteArray> rehearse(const ConnectionOptions& options,
                                 const CommunicatorCommand& command, const QByteArray& data)
{
    const LoadedDriver driver(options.plugin);
    Rehearsal port(portSettings(options, *driver));
    driver->write(&port, command, data);
    if (driver->hasError())
        throw refusalOf(*driver, command.address);
    return port.frames();
}
