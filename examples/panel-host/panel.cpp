#include "panel.h"

#include "drivers/drv_dev_setting.h"
#include "host/values.h"

PanelSettings defaultSettings(DriverInterface& driver)
{
    // The records are the caller's, who deletes them.
    const std::unique_ptr<DriverSetting> protocol(driver.getDefaultDriverSetting());
    const std::unique_ptr<DeviceSetting> device(driver.getDefaultSerialDeviceSetting());

    PanelSettings settings;
    settings.port.timeoutMs = protocol->timeout;
    settings.port.retryCount = protocol->retry;
    settings.port.destination = protocol->stationid;
    settings.port.delayMs = static_cast<unsigned int>(protocol->delay);
    settings.line.baudRate = device->baudrate; // its codes 0 are one stop bit and no parity
    settings.line.dataBits = static_cast<QSerialPort::DataBits>(device->databits);
    return settings;
}

Panel::Panel(DriverInterface& driver, const PanelSettings& settings)
    : m_driver(driver)
    , m_settings(settings)
    , m_pauses(settings.firstPauseMs, settings.longestPauseMs)
{}

bool Panel::add(const QString& name, const QString& address, QString* error)
{
    const auto parsed = host::TagAddress::parse(address, error);
    if (!parsed)
        return false;
    m_items.push_back({name, *parsed, QString(), false});
    return true;
}

QStringList Panel::poll(qint64 now)
{
    m_now = now;
    QStringList news;
    if (now >= m_nextAttempt && (m_link || open(&news)))
        readAll(&news);
    return news;
}

bool Panel::open(QStringList* news)
{
    QString error;
    m_link = host::Link::open(m_settings.link, m_settings.line, m_settings.port, &error);
    if (!m_link) {
        pause(error, news);
        return false;
    }
    news->append("line open");
    for (Item& item : m_items)
        item.isRefused = false; // perhaps it is another controller, or has a new program
    return true;
}

void Panel::readAll(QStringList* news)
{
    m_trouble.clear();
    for (Item& item : m_items) {
        if (item.isRefused)
            continue;
        const QString text = read(item);
        if (!m_trouble.isEmpty())
            return pause(m_trouble, news);
        if (text != item.shown)
            news->append(item.name + ' ' + item.address.text() + ": " + text);
        item.shown = text;
    }
    m_pauses.reset();
}

/// The value as text, or what is wrong with this value alone.
QString Panel::read(Item& item)
{
    QString error;
    const auto request = item.address.readRequest(1, &error);
    if (!request)
        return error;
    const QByteArray data = m_driver.read(&m_link->port(), *request);
    if (!m_driver.hasError())
        return host::valueAt(item.address, data, 0).value;

    error = m_driver.getLastError();
    m_trouble = m_link->port().deviceError();
    if (!m_trouble.isEmpty())
        m_link.reset(); // the driver can't tell a lost line from a silent one, the port can
    else if (error == "PLC no response")
        m_trouble = error; // nor would the other values be answered
    item.isRefused = error.startsWith("invalid address");
    return error;
}

/// Nothing is known any more, and nobody is asked for a while.
void Panel::pause(const QString& reason, QStringList* news)
{
    for (Item& item : m_items)
        item.shown.clear();
    const qint64 pause = m_pauses.next();
    m_nextAttempt = m_now + pause;
    news->append(QString("%1; next attempt in %2 ms").arg(reason).arg(pause));
}
