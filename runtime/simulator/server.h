// A controller that other programs can open: on a pseudo-terminal, which takes
// the place of the serial line.
#pragma once

#include "simulator/controller.h"
#include "simulator/station.h"

#include <QString>
#include <functional>
#include <mutex>
#include <thread>

namespace simulator {

/// One controller behind one station, served by a thread of its own. The port can
/// be opened, closed and opened again by any number of clients, one after the
/// other; like a real line it keeps what a client has left unread, and the
/// station goes on where it stands.
///
/// snapshot() and change() are for any thread, all other members for one, the
/// owner's.
class PtyServer
{
public:
    explicit PtyServer(Controller controller, const StationSettings& settings = {});
    /// Stops.
    ~PtyServer();
    PtyServer(const PtyServer&) = delete;
    PtyServer& operator=(const PtyServer&) = delete;

    /// Opens a new pseudo-terminal, its client's end in raw mode, and serves it.
    /// False with the reason in @p error, which is not null, and nothing left
    /// open. After stop() it can be started again, with a fresh station.
    bool start(QString* error);
    /// What clients open, such as /dev/pts/3; empty while not running.
    QString portName() const { return m_portName; }
    /// Ends the thread and closes the port; clients that have it open see a
    /// hang-up. Does nothing when not running.
    void stop();

    /// A copy of all data files as they are between two requests, whether running
    /// or not. The effect of every request whose reply has arrived is in it.
    DataTables snapshot() const;
    /// Runs @p apply on the data files between two requests; they see all of the
    /// change or nothing of it. @p apply calls no member of this server and keeps
    /// no reference.
    void change(const std::function<void(DataTables&)>& apply);

private:
    bool openPort(QString* error);
    void closePort();

    QByteArray execute(const QByteArray& request, const LinkCounters& counters);

    mutable std::mutex m_controllerMutex;
    Controller m_controller; // guarded by its mutex
    StationSettings m_settings;
    QString m_portName;
    int m_master = -1;
    int m_slave = -1; // kept open: without any client the master would report hang-ups
    int m_wake = -1;
    std::thread m_thread;
};

}
