#include "tableconnection.h"

#include "drivers/drv_dev_setting.h"
#include "host/diagnosticexchange.h"
#include "host/linecost.h"
#include "host/tagaddress.h"
#include "progress.h"

namespace {

int retriesIn(const ConnectionOptions& options)
{
    if (options.retry)
        return *options.retry;
    const LoadedDriver driver(options.plugin);
    const std::unique_ptr<DriverSetting> defaults(driver->getDefaultDriverSetting());
    return defaults->retry;
}

ConnectionOptions withoutRetries(ConnectionOptions options)
{
    options.retry = 0;
    return options;
}

int dataBytesOf(const CommunicatorCommand& command)
{
    return command.count * host::bytesPerElement(command.address.at(0).toLatin1());
}

}

TableConnection::TableConnection(const ConnectionOptions& options, EndSignals& ending)
    : m_ending(ending)
    , m_retries(retriesIn(options))
    , m_connection(withoutRetries(options))
{}

std::optional<QByteArray> TableConnection::read(const CommunicatorCommand& command)
{
    try {
        QByteArray data;
        if (isDone([&] { data = m_connection.read(command); }))
            return data;
    } catch (const Failure& failure) {
        // The reply may have held more bytes 0x10 than the driver has room for.
        if (failure.code() != ExitCode::Damaged || dataBytesOf(command) <= host::SAFE_DATA_BYTES)
            throw;
    }
    return std::nullopt;
}

bool TableConnection::write(const CommunicatorCommand& command, const QByteArray& data)
{
    return isDone([&] { m_connection.write(command, data); });
}

std::optional<host::ControllerStatus> TableConnection::identity()
{
    const host::PortSettings& settings = m_connection.portSettings();
    const host::Patience patience = {settings.timeoutMs, settings.secondsPerByte};
    std::optional<host::ControllerStatus> status;
    for (int attempt = 0; attempt < 2 && !status; ++attempt)
        status = askStatus(m_connection.port(), patience);
    return status;
}

/// False when the controller refuses.
template <typename Request>
bool TableConnection::isDone(const Request& request)
{
    for (int attempt = 0;; ++attempt) {
        throwIfEnded(m_ending, QStringLiteral("interrupted"));
        try {
            request();
            return true;
        } catch (const Failure& failure) {
            if (failure.code() == ExitCode::Refused)
                return false;
            const bool mayPass =
                failure.code() == ExitCode::NoAnswer || failure.code() == ExitCode::Damaged;
            if (!mayPass || attempt >= m_retries)
                throw;
            host::releaseReplies(m_connection.port(), m_connection.portSettings().secondsPerByte);
        }
    }
}
