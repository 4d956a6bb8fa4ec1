#include "host/driverloader.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QLibrary>

#include <chrono>

#include "drivers/abstractdeviceinterface.h"

namespace host {

QString defaultDriverPath(const QString& programFolder)
{
    QString chosen = qEnvironmentVariable("MICROLOGIX_PLUGIN");
    if (!chosen.isEmpty())
        return chosen;
    const QString installed =
        QDir::cleanPath(programFolder + QStringLiteral("/" MLX_PLUGIN_FROM_PROGRAM));
    const QString built =
        QDir::cleanPath(programFolder + QStringLiteral("/../lib/libmicrologix.so"));
    return !QFileInfo::exists(installed) && QFileInfo::exists(built) ? built : installed;
}

namespace {

/// A port with nobody behind it.
class DeadPort : public AbstractDeviceInterface
{
public:
    explicit DeadPort(int retries)
        : m_retries(retries)
    {}

    int receiveData(unsigned char*, int) override { return 0; }
    void sendData(const unsigned char*, int) override {}
    void getParameter(int, QVariant&) override {}
    void setParameter(int, const QVariant&) override {}
    int retryCount() override { return m_retries; }
    int destinationAddress() override { return 0; }
    int sourceAddress() override { return 0; }
    unsigned int delayTime() override { return 0; }

private:
    int m_retries;
};

}

// Every attempt takes a number, wherever it leads. A program needs longer than one step to
// start, and the round is no divisor of the times after which programs are run again.
void scatterTransactionNumbers(DriverInterface& driver)
{
    const std::chrono::milliseconds step(3);
    const int stepsInRound = 1009;
    const auto steps = std::chrono::steady_clock::now().time_since_epoch() / step;
    DeadPort port(static_cast<int>(steps % stepsInRound));
    CommunicatorCommand command;
    command.type = 2;
    command.address = QStringLiteral("N7:0");
    driver.read(&port, command);
}

DriverLoader::DriverLoader(const QString& path)
{
    QString fault;
    const QFileInfo file(path);
    if (!file.exists())
        fault = QStringLiteral("no such file");
    else if (!file.isFile())
        fault = QStringLiteral("it is not a file");
    if (fault.isEmpty()) {
        // A bare name would be looked for in Qt's plugin folders.
        m_loader.setFileName(file.absoluteFilePath());
        fault = load();
    }
    if (!fault.isEmpty())
        m_error = QStringLiteral("cannot load driver '%1': %2; give the driver's plugin file, such "
                                 "as libmicrologix.so, or name it in MICROLOGIX_PLUGIN")
                      .arg(path, fault);
}

std::unique_ptr<DriverInterface> DriverLoader::create(QString* error) const
{
    using Create = DriverInterface*();
    auto* const create = reinterpret_cast<Create*>(resolve("CreateDriver"));
    std::unique_ptr<DriverInterface> driver(create != nullptr ? create() : nullptr);
    if (driver == nullptr)
        *error = QStringLiteral("'%1' makes no further driver: it exports no CreateDriver")
                     .arg(m_loader.fileName());
    return driver;
}

DriverLoader::~DriverLoader()
{
    m_loader.unload(); // deletes the driver object too, once nobody else has loaded the file
}

QString DriverLoader::interfaceId() const
{
    return m_loader.metaData().value(QStringLiteral("IID")).toString();
}

QString DriverLoader::builtForQt() const
{
    const int version = m_loader.metaData().value(QStringLiteral("version")).toInt();
    if (version == 0)
        return QString();
    return QStringLiteral("%1.%2").arg(version >> 16).arg((version >> 8) & 0xFF);
}

QString DriverLoader::verificationText() const
{
    using Query = const char*();
    auto* const query = reinterpret_cast<Query*>(resolve("qt_plugin_query_verification_data"));
    return query != nullptr ? QString::fromLatin1(query()) : QString();
}

QFunctionPointer DriverLoader::resolve(const char* symbol) const
{
    return QLibrary::resolve(m_loader.fileName(), symbol);
}

/// Loads the file; what is wrong with it, or nothing.
QString DriverLoader::load()
{
    // instance() alone would not count this loader as a user of a file that
    // another one has loaded.
    if (!m_loader.load())
        return m_loader.errorString();
    QObject* const root = m_loader.instance();
    if (root == nullptr)
        return m_loader.errorString();
    m_driver = qobject_cast<DriverInterface*>(root);
    if (m_driver != nullptr)
        return QString();
    return QStringLiteral("it is a plugin of another kind, '%1', where '%2' is expected")
        .arg(interfaceId(), QLatin1String(qobject_interface_iid<DriverInterface*>()));
}

}
