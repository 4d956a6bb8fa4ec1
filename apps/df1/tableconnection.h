// A connection as the library for whole data files wants it.
#pragma once

#include <optional>

#include "connection.h"
#include "endsignals.h"
#include "host/datafiles.h"
#include "host/diagnosticframes.h"

/// Tries again after a fault of the line as often as the options say, but never after
/// a refusal: the search for files lives on those. Throws Failure when the line fails
/// for good, and when Ctrl-C has come.
class TableConnection : public host::TableAccess
{
public:
    /// @p options have taken over their profile. Throws Failure when they, the plugin or
    /// the port are unusable.
    TableConnection(const ConnectionOptions& options, EndSignals& ending);

    std::optional<QByteArray> read(const CommunicatorCommand& command) override;
    bool write(const CommunicatorCommand& command, const QByteArray& data) override;

    /// Who is there; nothing when it does not tell.
    std::optional<host::ControllerStatus> identity();
    int station() { return m_connection.port().destinationAddress(); }

private:
    template <typename Request>
    bool isDone(const Request& request);

    EndSignals& m_ending;
    int m_retries;
    Connection m_connection;
};
