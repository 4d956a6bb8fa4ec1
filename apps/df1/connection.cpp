#include "connection.h"

#include <CLI/CLI.hpp>
#include <QFileInfo>
#include <algorithm>
#include <unistd.h>

#include "drivers/drv_dev_setting.h"
#include "host/explanation.h"
#include "host/link.h"
#include "host/tracer.h"
#include "output.h"
#include "rehearsal.h"
#include "simulator/server.h"
#include "trace.h"

namespace {

const char* const SIMULATOR = "sim";
const quint32 SIMULATOR_SEED = 1;

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
    settings.source = options.self.value_or(0);
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

/// The first of the verb's positionals where it can be no address. Without the check
/// of the others a later one would do as well: the value of a write is no link.
void addLinkNameTo(CLI::App& verb, std::string& name)
{
    CLI::Option* const link = verb.add_option("link", name, "Name of a link in the profile file");
    const auto isFirst = [&verb, link] {
        const auto options = verb.get_options();
        return std::none_of(options.begin(), options.end(), [link](const CLI::Option* option) {
            return option != link && option->get_positional() && option->count() > 0;
        });
    };
    link->type_name("LINK")->check(CLI::Validator(
        [=](const std::string& text) {
            const bool isTaken = link->count() > 0; // checked once more at the end
            return isTaken || (isFirst() && host::isLinkName(QString::fromStdString(text)))
                       ? std::string()
                       : "no name of a link";
        },
        ""));
    verb.validate_positionals();
}

host::LinkProfile linkNamed(const std::string& link, const std::string& file)
{
    const host::LinkProfiles links = openProfiles(file);
    const QString name = QString::fromStdString(link);
    const auto found = links.find(name);
    if (found == links.end())
        throw Failure(ExitCode::Usage,
                      QStringLiteral("there is no link '%1'; known: %2").arg(name, namesOf(links)));
    return found->second;
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
    explicit Parts(const std::string& plugin)
        : driver(plugin)
    {}

    void see(const host::Sighting& sighting)
    {
        call.take(sighting);
        if (trace)
            trace->take(sighting);
    }

    LoadedDriver driver;
    std::unique_ptr<simulator::PtyServer> simulator;
    std::unique_ptr<Trace> trace; // null: none is wanted
    host::CallTraffic call;
    std::unique_ptr<host::Link> link;
    std::unique_ptr<host::TracedPort> port;
    host::PlanSettings planSettings;
};

void ConnectionOptions::addTo(CLI::App& verb)
{
    addLinkNameTo(verb, link);
    verb.option_defaults()->group("Connection");
    verb.add_option("--profile", profile,
                    "File that describes LINK (micrologix/links.json in the configuration folder)")
        ->type_name("FILE");
    verb.add_option("--port", port,
                    "Serial device (/dev/ttyUSB0), TCP device server (tcp://host:port), or sim, "
                    "the embedded simulated controller (sim)");
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
    verb.add_option("--self", self, "Station number of this computer (0)")
        ->check(CLI::Range(0, 254));
    verb.add_option("--timeout", timeout, "Milliseconds of silence that end a wait (500)")
        ->check(CLI::Range(1, 600000));
    verb.add_option("--retry", retry, "Further attempts after a failed one (3)")
        ->check(CLI::Range(0, 1000));
    verb.add_option("--delay", delay, "Milliseconds to pause before every attempt (0)")
        ->check(CLI::Range(0, 600000));
    verb.add_option("--limit", limit,
                    "Data bytes that one message may carry (206; a MicroLogix 1000 takes 82)")
        ->check(CLI::Range(6, host::MOST_DATA_BYTES));
    verb.add_option("--trace", trace,
                    "Show the line's traffic on standard error (-), or keep it in a capture file "
                    "for Wireshark and df1 decode")
        ->type_name("FILE");
    verb.add_option("--plugin", plugin, "Driver plugin to load instead of the installed one")
        ->type_name("FILE");
    verb.option_defaults()->group("Options");
}

void ConnectionOptions::takeProfile()
{
    if (link.empty())
        return;
    const host::LinkProfile named = linkNamed(link, profile);
    link.clear();
    if (!port)
        port = named.port.toStdString();
    if (!line && named.line)
        line = named.line->toStdString();
    if (!station && hmiPort.empty())
        station = named.station;
    for (const auto& [own, theirs] : {std::pair(&self, named.self),
                                      {&timeout, named.timeoutMs},
                                      {&retry, named.retry},
                                      {&limit, named.limit},
                                      {&delay, named.delayMs}}) {
        if (!*own)
            *own = theirs;
    }
}

bool ConnectionOptions::isSimulator() const
{
    return !port || *port == SIMULATOR;
}

void ConnectionOptions::tellOfSimulator(const OutputOptions& output) const
{
    if (!port && link.empty() && ::isatty(STDERR_FILENO) == 1)
        tell(QStringLiteral("no --port is given: this is the embedded simulated controller"),
             output);
}

LoadedDriver::LoadedDriver(const std::string& plugin)
    : m_loader(pluginPath(plugin))
{
    if (m_loader.driver() == nullptr)
        throw Failure(ExitCode::Usage, m_loader.error());
}

std::unique_ptr<DriverInterface> LoadedDriver::create() const
{
    QString error;
    auto driver = m_loader.create(&error);
    if (!driver)
        throw Failure(ExitCode::Usage, error);
    host::scatterTransactionNumbers(*driver);
    return driver;
}

LinkPlace::LinkPlace(ConnectionOptions options, DriverInterface& driver)
{
    options.takeProfile();
    line = lineSettings(options, driver);
    port = portSettings(options, driver);
    dataBytes = options.dataBytes();
    if (!options.trace.empty())
        trace = std::make_unique<Trace>(options.trace);
    link = QString::fromStdString(options.port.value_or(SIMULATOR));
    if (!options.isSimulator())
        return;
    simulator = startSimulator(port);
    link = simulator->portName();
}

LinkPlace::~LinkPlace() = default;
LinkPlace::LinkPlace(LinkPlace&&) noexcept = default;

host::TrafficReader::Taker observerOf(const LinkPlace& place)
{
    if (!place.trace)
        return nullptr;
    return [trace = place.trace.get()](const host::Sighting& sighting) { trace->take(sighting); };
}

void requireTrace(const LinkPlace& place)
{
    if (!place.trace)
        return;
    if (const std::optional<Failure> failure = place.trace->takeFailure())
        throw Failure(*failure);
}

Connection::Connection(ConnectionOptions options)
    : m_parts(std::make_unique<Parts>(options.plugin))
{
    LinkPlace place(std::move(options), *m_parts->driver);
    m_parts->simulator = std::move(place.simulator);
    m_parts->trace = std::move(place.trace);
    QString error;
    m_parts->link = host::Link::open(place.link, place.line, place.port, &error);
    if (!m_parts->link)
        throw Failure(ExitCode::Port, error);
    m_parts->port = std::make_unique<host::TracedPort>(
        m_parts->link->port(),
        [parts = m_parts.get()](const host::Sighting& sighting) { parts->see(sighting); });
    host::scatterTransactionNumbers(*m_parts->driver);
    host::PlanSettings& plan = m_parts->planSettings;
    plan.line.secondsPerByte = place.line.secondsPerByte();
    plan.line.destination = place.port.destination;
    plan.line.source = place.port.source;
    plan.dataBytes = place.dataBytes;
}

Connection::~Connection() = default;

QByteArray Connection::read(const CommunicatorCommand& command)
{
    m_parts->call.beginCall();
    QByteArray data = m_parts->driver->read(m_parts->port.get(), command);
    requireSuccess(command.address);
    return data;
}

host::PlanSettings Connection::planSettings() const
{
    return m_parts->planSettings;
}

void Connection::write(const CommunicatorCommand& command, const QByteArray& data)
{
    m_parts->call.beginCall();
    m_parts->driver->write(m_parts->port.get(), command, data);
    requireSuccess(command.address);
}

AbstractDeviceInterface& Connection::port()
{
    return *m_parts->port;
}

const host::PortSettings& Connection::portSettings() const
{
    return m_parts->link->port().settings();
}

void Connection::requireSuccess(const QString& address)
{
    const bool hasFailed = m_parts->driver->hasError();
    if (hasFailed)
        m_parts->port->seeTheRest();
    const std::optional<Failure> untraced =
        m_parts->trace ? m_parts->trace->takeFailure() : std::nullopt;
    if (!hasFailed && !untraced)
        return;
    if (!hasFailed)
        throw Failure(*untraced);
    if (untraced)
        report(*untraced);
    throw failure(address);
}

Failure Connection::failure(const QString& address) const
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

host::LinkProfiles openProfiles(const std::string& file)
{
    const QString name = file.empty() ? host::defaultProfileFile() : QString::fromStdString(file);
    if (!QFileInfo::exists(name))
        throw Failure(
            ExitCode::Usage,
            QStringLiteral(
                "no links are known: there is no file %1; make it, or give --profile FILE")
                .arg(name));
    QString error;
    auto links = host::loadProfiles(name, &error);
    if (!links)
        throw Failure(ExitCode::Usage, error);
    return *links;
}

std::vector<QByteArray> rehearse(ConnectionOptions options,
                                 const std::vector<host::WritePiece>& writes)
{
    options.takeProfile();
    const LoadedDriver driver(options.plugin);
    Rehearsal port(portSettings(options, *driver));
    for (const host::WritePiece& write : writes) {
        driver->write(&port, write.command, write.data);
        if (driver->hasError())
            throw refusalOf(*driver, write.command.address);
    }
    return port.frames();
}
