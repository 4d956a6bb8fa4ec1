// A small host: loads the driver plugin, reads and writes a controller's data and
// shows what it sees when something goes wrong.
//
//   host-example                 a simulated controller
//   host-example PORT [--write]  station 1 on /dev/ttyUSB0, tcp://host:port and
//                                the like; N7:3 and B3:1/5 are written only when
//                                told to
//
// Qt 5.15 and 6; docs/host-guide.md says what is different with Qt 4.8.
#include <QCoreApplication>
#include <QPluginLoader>
#include <QTextStream>
#include <QtEndian>
#include <memory>

#include "drivers/driverinterface.h"
#include "drivers/drv_dev_setting.h"
#include "drivers/tools/conversions.h"
#include "host/driverloader.h"
#include "host/link.h"
#include "simulated.h"

namespace {

/// Type codes of a request.
enum RequestType
{
    Bit = 0,
    Word = 2,
    DoubleWord = 3
};

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

int fail(const QString& text)
{
    QTextStream(stderr) << text << '\n';
    return 1;
}

// ---- the driver and its settings ----

/// The plugin's driver object, which lives until the loader unloads the file. Null
/// when the file can't be loaded or is a plugin of another kind.
DriverInterface* loadDriver(QPluginLoader& loader)
{
    loader.setFileName(host::defaultDriverPath());
    return qobject_cast<DriverInterface*>(loader.instance());
}

host::PortSettings defaultPortSettings(DriverInterface& driver)
{
    // The record is the caller's, who deletes it.
    const std::unique_ptr<DriverSetting> record(driver.getDefaultDriverSetting());
    host::PortSettings settings;
    settings.timeoutMs = record->timeout;
    settings.retryCount = record->retry;
    settings.destination = record->stationid;
    settings.delayMs = static_cast<unsigned int>(record->delay);
    return settings;
}

host::LineSettings defaultLineSettings(DriverInterface& driver)
{
    const std::unique_ptr<DeviceSetting> record(driver.getDefaultSerialDeviceSetting());
    host::LineSettings line; // one stop bit, no parity: the driver's codes 0 and 0
    line.baudRate = record->baudrate;
    line.dataBits = static_cast<QSerialPort::DataBits>(record->databits);
    return line;
}

// ---- requests ----

CommunicatorCommand request(RequestType type, const QString& address, int count)
{
    CommunicatorCommand command;
    command.type = type;
    command.address = address;
    command.count = count;
    return command;
}

/// One controller: a driver object and a port, used together and by one thread.
struct Controller
{
    DriverInterface& driver;
    host::DevicePort& port;

    QByteArray read(RequestType type, const QString& address, int count)
    {
        return driver.read(&port, request(type, address, count));
    }

    bool write(RequestType type, const QString& address, const QByteArray& data)
    {
        return driver.write(&port, request(type, address, 1), data);
    }

    /// What to show: the trouble of the line, if it has any, else the driver's text.
    QString failure() const
    {
        const QString lineTrouble = port.deviceError();
        return lineTrouble.isEmpty() ? driver.getLastError() : lineTrouble;
    }
};

// ---- showing data ----

QString wordTexts(const QByteArray& data)
{
    QStringList texts;
    for (int i = 0; i + 1 < data.size(); i += 2)
        texts << QString::number(qFromLittleEndian<qint16>(data.constData() + i));
    return texts.join(' ');
}

void showWords(Controller controller, const QString& address, int count)
{
    const QByteArray data = controller.read(Word, address, count);
    if (controller.driver.hasError())
        out() << address << ": " << controller.failure() << '\n';
    else
        out() << address << ": " << wordTexts(data) << '\n';
}

void showFloat(Controller controller, const QString& address)
{
    const QByteArray data = controller.read(DoubleWord, address, 1);
    if (controller.driver.hasError())
        out() << address << ": " << controller.failure() << '\n';
    else
        out() << address << ": " << qFromLittleEndian<float>(data.constData()) << '\n';
}

void showBits(Controller controller, const QString& address, int count)
{
    const QByteArray bits = controller.read(Bit, address, count);
    out() << address << ':';
    if (controller.driver.hasError()) {
        out() << ' ' << controller.failure() << '\n';
        return;
    }
    for (int i = 0; i < count; ++i) // count bits are good, however many bytes came
        out() << ' ' << (getBit(bits, i) ? 1 : 0);
    out() << " (array size " << bits.size() << ")\n";
}

void showWrite(Controller controller, RequestType type, const QString& address,
               const QByteArray& data)
{
    const bool done = controller.write(type, address, data);
    out() << "write " << address << ": " << (done ? QString("done") : controller.failure()) << '\n';
}

// ---- the story ----

void showReads(Controller controller)
{
    showWords(controller, "N7:0", 3);
    showFloat(controller, "F8:0");
    showBits(controller, "B3:0/12", 6); // runs on into B3:1
    showBits(controller, "T4:0/DN", 2); // of T4:0 and T4:1
    showWords(controller, "T4:0.ACC", 2);
}

void showWrites(Controller controller)
{
    QByteArray word(2, '\0');
    qToLittleEndian<qint16>(-1234, word.data());
    showWrite(controller, Word, "N7:3", word);
    showWords(controller, "N7:3", 1);

    showWrite(controller, Bit, "B3:1/5", QByteArray(1, 1));
    showBits(controller, "B3:1/5", 1);
}

void showRefusal(Controller controller)
{
    showWords(controller, "N99:0", 1);
    showWords(controller, "N7:0", 1);
    out() << "the last text is still: " << controller.driver.getLastError() << '\n';
}

/// A station that nobody has, on a line that works.
void showSilence(Controller controller, host::Link& link, host::PortSettings settings)
{
    settings.destination = 99;
    settings.timeoutMs = 100;
    settings.retryCount = 0;
    host::DevicePort port(&link.device(), settings);
    out() << "station 99, ";
    showWords({controller.driver, port}, "N7:0", 1);
}

int run(DriverInterface& driver, const QStringList& arguments)
{
    const std::unique_ptr<simulator::PtyServer> simulated =
        arguments.size() < 2 ? startSimulatedController() : nullptr;
    if (arguments.size() < 2 && simulated == nullptr)
        return 1;
    const QString portText = simulated ? simulated->portName() : arguments.at(1);

    const host::PortSettings settings = defaultPortSettings(driver);
    const host::LineSettings line = defaultLineSettings(driver);
    QString error;
    const auto link = host::Link::open(portText, line, settings, &error);
    if (link == nullptr)
        return fail(error);
    out() << line.toText() << ", station " << settings.destination << ", time-out "
          << settings.timeoutMs << " ms, " << settings.retryCount << " retries\n";

    const Controller controller = {driver, link->port()};
    showReads(controller);
    if (simulated != nullptr || arguments.contains("--write"))
        showWrites(controller);
    showRefusal(controller);
    showSilence(controller, *link, settings);
    if (simulated != nullptr) {
        simulated->stop(); // as if the cable were pulled
        out() << "lost line, ";
        showWords(controller, "N7:0", 1);
    }
    out().flush();
    return 0;
}

}

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);

    QPluginLoader loader;
    DriverInterface* const driver = loadDriver(loader);
    if (driver == nullptr)
        return fail(host::defaultDriverPath() + ": "
                    + (loader.isLoaded() ? "not a driver plugin; give libmicrologix.so"
                                         : loader.errorString()));
    out() << driver->vender() << ' ' << driver->name() << ' ' << driver->getVersionNumber() << '\n';

    const int exitCode = run(*driver, application.arguments());
    loader.unload(); // deletes the driver object
    return exitCode;
}
