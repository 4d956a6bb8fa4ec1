#include "connection.h"

#include <CLI/CLI.hpp>

#include "drivers/drv_dev_setting.h"
#include "host/link.h"
#include "rehearsal.h"
#include "simulator/server.h"

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

QString hintFor(ExitCode code)
{
    switch (code) {
    case ExitCode::Usage:
        return QStringLiteral("give a file and an element, such as N7:0, F8:1 or T4:0.ACC");
    case ExitCode::NoAnswer:
        return QStringLiteral("check the cable, the line settings and the station number");
    case ExitCode::Damaged:
        return QStringLiteral("check the line settings, and that the channel is DF1 full duplex "
                              "with CRC");
    default:
        return QStringLiteral("the controller refused it: no such file or element, or protected");
    }
}

/// The driver's last text, behind the address unless it names it already.
QString lastText(DriverInterface& driver, const QString& address)
{
    const QString text = driver.getLastError();
    return text.contains(address) ? text : address + QStringLiteral(": ") + text;
}

Failure failureOf(DriverInterface& driver, const QString& address)
{
    const ExitCode code = exitCodeOf(driver.getLastError());
    return Failure(code, lastText(driver, address) + QStringLiteral("; ") + hintFor(code));
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
    explicit Parts(const std::string& plugin)
        : driver(plugin)
    {}

    LoadedDriver driver;
    std::unique_ptr<simulator::PtyServer> simulator;
    std::unique_ptr<host::Link> link;
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
    verb.add_option("--plugin", plugin, "Driver plugin to load instead of the installed one")
        ->type_name("FILE");
}

Connection::Connection(const ConnectionOptions& options)
    : m_parts(std::make_unique<Parts>(options.plugin))
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
    host::scatterTransactionNumbers(driver);
}

Connection::~Connection() = default;

QByteArray Connection::read(const CommunicatorCommand& command)
{
    QByteArray data = m_parts->driver->read(&m_parts->link->port(), command);
    requireSuccess(command.address);
    return data;
}

void Connection::write(const CommunicatorCommand& command, const QByteArray& data)
{
    m_parts->driver->write(&m_parts->link->port(), command, data);
    requireSuccess(command.address);
}

void Connection::requireSuccess(const QString& address)
{
    if (!m_parts->driver->hasError())
        return;
    const QString lost = m_parts->link->port().deviceError();
    if (!lost.isEmpty())
        throw Failure(ExitCode::Port, m_parts->link->text() + QStringLiteral(": ") + lost);
    throw failureOf(*m_parts->driver, address);
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
