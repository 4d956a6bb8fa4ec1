#include "simulate.h"

#include <CLI/CLI.hpp>
#include <QDateTime>
#include <QFileInfo>
#include <iostream>
#include <mutex>

#include "endsignals.h"
#include "host/linesettings.h"
#include "simulator/faults.h"
#include "simulator/jsonfile.h"
#include "simulator/server.h"
#include "simulator/tablesfile.h"

namespace {

struct SimulateOptions
{
    std::optional<std::string> model;
    std::string tables;
    std::string faults;
    std::optional<std::string> tcp;
    std::string serial;
    std::string line = "19200,NONE,8,1";
    std::string link;
    std::string check = "crc";
    int station = 1;
    int ackTimeout = 1000;
    int pace = 0;
    quint32 seed = 1;
    int count = 1;
    bool still = false;
    bool log = false;
};

Failure usage(const QString& text)
{
    return Failure(ExitCode::Usage, text);
}

simulator::Description controllerIn(const SimulateOptions& options)
{
    QString error;
    if (!options.tables.empty()) {
        const auto description =
            simulator::loadTables(QString::fromStdString(options.tables), options.seed, &error);
        if (!description)
            throw usage(error);
        return *description;
    }
    const simulator::Model* model =
        options.model ? simulator::modelOf(QString::fromStdString(*options.model), &error)
                      : &simulator::defaultModel();
    if (!model)
        throw usage(error);
    return {*model, simulator::seededTables(options.seed, *model)};
}

/// The text is a script, or names the file that has one.
simulator::FaultScript faultsIn(const SimulateOptions& options)
{
    const QString text = QString::fromStdString(options.faults);
    const bool isFile = text.endsWith(QLatin1String(".json")) || QFileInfo(text).isFile();
    QString error;
    std::optional<simulator::FaultScript> script;
    if (!isFile) {
        script = simulator::parseFaults(text, &error);
    } else if (const auto json = simulator::fileBytes(text, &error)) {
        script = simulator::parseFaultsJson(*json, &error);
        error.prepend(text + QStringLiteral(": "));
    }
    if (!script)
        throw usage(error);
    return *script;
}

simulator::Place tcpPlace(const QString& text)
{
    simulator::TcpPlace place;
    if (text.contains(QLatin1Char(':'))) {
        place.host = text.section(QLatin1Char(':'), 0, -2);
        place.host.remove(QLatin1Char('[')).remove(QLatin1Char(']'));
    }
    bool isNumber = false;
    place.port = text.section(QLatin1Char(':'), -1).toUShort(&isNumber);
    if (!isNumber || place.host.isEmpty())
        throw usage(QStringLiteral("--tcp %1: give [HOST:]PORT, such as 4001 or 0.0.0.0:4001; port "
                                   "0 takes any that is free")
                        .arg(text));
    return place;
}

simulator::Place serialPlace(const SimulateOptions& options)
{
    QString error;
    const auto line = host::LineSettings::parse(QString::fromStdString(options.line), &error);
    if (!line)
        throw usage(error);
    simulator::SerialPlace place;
    place.device = QString::fromStdString(options.serial);
    place.baudRate = line->baudRate;
    place.dataBits = line->dataBits;
    place.stopBits = line->stopBits;
    if (line->parity == QSerialPort::EvenParity)
        place.parity = 'E';
    else if (line->parity == QSerialPort::OddParity)
        place.parity = 'O';
    else if (line->parity != QSerialPort::NoParity)
        throw usage(QStringLiteral("--line %1: parity NONE, EVEN or ODD")
                        .arg(QString::fromStdString(options.line)));
    if (line->dataBits < QSerialPort::Data7)
        throw usage(QStringLiteral("--line %1: 7 or 8 data bits")
                        .arg(QString::fromStdString(options.line)));
    return place;
}

/// The place of controller @p number of several, counted from 0: the links end in its
/// number, the TCP ports follow each other.
simulator::Place placeIn(const SimulateOptions& options, int number)
{
    if (!options.serial.empty())
        return serialPlace(options);
    if (options.tcp) {
        simulator::Place place = tcpPlace(QString::fromStdString(*options.tcp));
        auto& tcp = std::get<simulator::TcpPlace>(place);
        if (tcp.port != 0 && tcp.port + number > 65535)
            throw usage(QStringLiteral("--count %1: no ports above 65535").arg(options.count));
        tcp.port = static_cast<quint16>(tcp.port != 0 ? tcp.port + number : 0);
        return place;
    }
    QString link = QString::fromStdString(options.link);
    if (!link.isEmpty() && options.count > 1)
        link += QString::number(number + 1);
    return simulator::PtyPlace{link};
}

class Simulation
{
public:
    explicit Simulation(const SimulateOptions& options)
        : m_options(options)
    {}

    ExitCode run()
    {
        const simulator::Description description = controllerIn(m_options);
        for (int number = 0; number < m_options.count; ++number)
            start(description, number);
        for (const auto& server : m_servers)
            std::cout << server->portName().toStdString() << std::endl;
        m_ending.wait();
        m_servers.clear();
        if (!m_broken.isEmpty())
            throw Failure(ExitCode::Port, m_broken);
        return ExitCode::Success;
    }

private:
    void start(const simulator::Description& description, int number)
    {
        simulator::ServerSettings settings;
        settings.station.station = static_cast<quint8>(m_options.station);
        settings.station.ackTimeoutMs = m_options.ackTimeout;
        settings.station.check =
            m_options.check == "bcc" ? simulator::CheckMethod::Bcc : simulator::CheckMethod::Crc;
        settings.faults = faultsIn(m_options);
        settings.seed = m_options.seed;
        settings.isAlive = !m_options.still;
        settings.pace = m_options.pace;
        if (m_options.log)
            settings.log = [this](const simulator::Exchange& exchange) { log(exchange); };
        settings.broken = [this](const QString& reason) { endWith(reason); };
        m_servers.push_back(std::make_unique<simulator::Server>(
            simulator::Controller(description.tables, description.model), settings));
        QString error;
        if (!m_servers.back()->start(placeIn(m_options, number), &error))
            throw Failure(ExitCode::Port, error);
    }

    void log(const simulator::Exchange& exchange)
    {
        const QString time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::cerr << time.toStdString() << ' ' << textOf(exchange).toStdString() << std::endl;
    }

    void endWith(const QString& reason)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_broken.isEmpty())
            m_broken = reason;
        m_ending.end();
    }

    const SimulateOptions& m_options;
    EndSignals m_ending;
    std::mutex m_mutex;
    QString m_broken;
    std::vector<std::unique_ptr<simulator::Server>> m_servers;
};

std::string footer()
{
    return "Faults, separated by commas: NAME[@N|/N|%P][xCOUNT][:VALUE] happens at transaction N,\n"
           "at every Nth, or in P percent of them (otherwise in all), COUNT times running:\n  "
           + simulator::faultHelp().join(QStringLiteral("\n  ")).toStdString()
           + "\n\nExamples:\n"
             "  df1 simulate --link /tmp/plc --log\n"
             "  df1 simulate --tcp 4001 --tables plant.json --faults nak@3x2,flip%1,silence/10\n"
             "  df1 simulate --serial /dev/ttyUSB0 --line 9600,NONE,8,1 --bcc";
}

}

void addSimulateVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<SimulateOptions>();
    CLI::App* const verb = app.add_subcommand(
        "simulate", "Be a controller, on a pseudo-terminal, a TCP port or a serial port");
    auto* const model =
        verb->add_option("--model", options->model, "1000, 1100, 1200, 1400 or 1500 (1100)");
    verb->add_option("--tables", options->tables, "Model and data files from a JSON file")
        ->type_name("FILE")
        ->excludes(model);
    verb->add_option("--faults", options->faults, "What goes wrong and when; see below")
        ->type_name("TEXT|FILE");
    verb->add_option("--seed", options->seed, "Seed of the data and of the faults")
        ->capture_default_str();
    verb->add_flag("--still", options->still, "The data do not change by themselves");
    verb->add_option("--station", options->station, "Station number of the controller")
        ->check(CLI::Range(0, 254))
        ->capture_default_str();
    verb->add_flag_callback(
        "--bcc", [options] { options->check = "bcc"; }, "Check frames by BCC instead of CRC");
    verb->add_option("--ack-timeout", options->ackTimeout,
                     "Milliseconds after which a reply without an ACK is asked about")
        ->check(CLI::Range(1, 600000))
        ->capture_default_str();
    verb->add_option("--pace", options->pace, "Take and send bytes at this many bit/s")
        ->check(CLI::Range(50, 4000000));
    auto* const tcp = verb->add_option("--tcp", options->tcp,
                                       "Listen on a TCP port, of 127.0.0.1 unless told "
                                       "otherwise; 0: any that is free")
                          ->type_name("[HOST:]PORT");
    auto* const serial = verb->add_option("--serial", options->serial, "Serve on a serial port")
                             ->type_name("DEVICE")
                             ->excludes(tcp);
    verb->add_option("--line", options->line, "Of the serial port")
        ->needs(serial)
        ->capture_default_str();
    verb->add_option("--link", options->link, "A symbolic link to the pseudo-terminal")
        ->type_name("PATH")
        ->excludes(tcp)
        ->excludes(serial);
    verb->add_option("--count", options->count, "So many controllers alike")
        ->check(CLI::Range(1, 1000))
        ->excludes(serial);
    verb->add_flag("--log", options->log, "A line for each transaction on standard error");
    verb->footer(footer());
    verb->callback([options, &run] { run = [options] { return Simulation(*options).run(); }; });
}
