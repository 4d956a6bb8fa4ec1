#include "drivers/micrologix/micrologix.h"

#include "drivers/df1/addressing.h"
#include "drivers/drv_dev_setting.h"

namespace {

const QString VERSION = QLatin1String("1.0.0");
const int BLOCK_SIZE = 1024;

/// Whether @p fileName has digits behind its letter that make a number above @p limit.
bool isNumberedAbove(const QByteArray& fileName, int limit)
{
    int number = 0;
    for (int i = 1; i < fileName.size(); ++i) {
        const int digit = fileName.at(i) - '0';
        if (digit < 0 || digit > 9)
            return false;
        number = qMin(10 * number + digit, limit + 1);
    }
    return number > limit;
}

/// Output and input files have one number, whatever follows their letter.
bool hasFixedNumber(const QByteArray& fileName)
{
    const unsigned char type = DF1GetFileType(fileName);
    return type == DF1GetFileType("O") || type == DF1GetFileType("I");
}

QRegExp pattern(const char* text, Qt::CaseSensitivity sensitivity)
{
    return QRegExp(QLatin1String(text), sensitivity);
}

}

DriverABMicroLogix::DriverABMicroLogix()
    : m_hasError(false)
    , m_debugMode(false)
    , m_tns(0)
    , m_bitAddress(pattern("^(\\w+):(\\d+)/(\\d+)$", Qt::CaseSensitive))
    , m_mnemonicBitAddress(pattern("^(\\w+):(\\d+)/([a-z]+)$", Qt::CaseInsensitive))
    , m_subElementBitAddress(pattern("^(\\w+):(\\d+)\\.([a-z]+)/(\\d+)$", Qt::CaseInsensitive))
    , m_wordAddress(pattern("^(\\w+):(\\d+)$", Qt::CaseSensitive))
    , m_subElementAddress(pattern("^(\\w+):(\\d+)\\.([a-z]+)", Qt::CaseInsensitive))
    , m_buffer(ReceiveBufferSize, '\0')
{}

DriverABMicroLogix::~DriverABMicroLogix() = default;

int DriverABMicroLogix::totalSize()
{
    return BLOCK_SIZE;
}

bool DriverABMicroLogix::initialize(AbstractDeviceInterface* port)
{
    Q_UNUSED(port)
    return true;
}

int DriverABMicroLogix::validation(const QString& text)
{
    Q_UNUSED(text)
    return 0;
}

QString DriverABMicroLogix::name()
{
    return QLatin1String("MicroLogix DF1 RS232");
}

QString DriverABMicroLogix::vender()
{
    return QLatin1String("Allen Bradley");
}

QString DriverABMicroLogix::getVersionNumber()
{
    return VERSION;
}

DeviceSetting* DriverABMicroLogix::getDefaultSerialDeviceSetting()
{
    return new DeviceSetting(DEVICE_RS232, QLatin1String("COM2"), 19200, 8, 0, 0);
}

DriverSetting* DriverABMicroLogix::getDefaultDriverSetting()
{
    return new DriverSetting(500, 3, 1, 0);
}

QString DriverABMicroLogix::getStringBasedDefaultDriverSetting()
{
    return QLatin1String("RS232,19200,NONE,8,1");
}

int DriverABMicroLogix::supportedCommunicationFlags()
{
    return DEVICE_RS232;
}

void DriverABMicroLogix::setDebugMode(bool on)
{
    m_debugMode = on;
}

int DriverABMicroLogix::getBlockAccessSize()
{
    return BLOCK_SIZE;
}

int DriverABMicroLogix::getBitBlockAccessSize()
{
    return BLOCK_SIZE;
}

bool DriverABMicroLogix::hasError()
{
    return m_hasError;
}

QString DriverABMicroLogix::getLastError()
{
    return m_lastError;
}

QObject* DriverABMicroLogix::getThisObject()
{
    return this;
}

void DriverABMicroLogix::clearError()
{
    m_hasError = false;
}

void DriverABMicroLogix::setCommError(const QString& text)
{
    m_hasError = true;
    m_lastError = text;
}

unsigned short DriverABMicroLogix::getTNS() const
{
    return m_tns;
}

unsigned short DriverABMicroLogix::getNextTNS()
{
    m_tns = static_cast<unsigned short>(m_tns == 65535 ? 1 : m_tns + 1);
    return m_tns;
}

unsigned char DriverABMicroLogix::getSourceAddr(AbstractDeviceInterface* port)
{
    return static_cast<unsigned char>(port->sourceAddress());
}

void DriverABMicroLogix::beginAttempt(AbstractDeviceInterface* port)
{
    qtcompat::sleepMilliseconds(port->delayTime());
    clearError();
}

bool DriverABMicroLogix::isLastAttempt(AbstractDeviceInterface* port, int attempt)
{
    return !hasError() || attempt >= port->retryCount();
}

/// Always false, for the caller to hand on.
bool DriverABMicroLogix::refuse(const QString& address)
{
    setCommError(QLatin1String("invalid address:") + address);
    return false;
}

/// Refuses a file number above 255, which a command would carry cut to 8 bits:
/// it would reach another file.
bool DriverABMicroLogix::canName(const QString& address, const QByteArray& fileName)
{
    const int largest = 255;
    return !isNumberedAbove(fileName, largest) || hasFixedNumber(fileName) || refuse(address);
}
