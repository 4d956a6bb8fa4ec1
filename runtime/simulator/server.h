// A controller that other programs can open.
#pragma once

#include "simulator/controller.h"
#include "simulator/exchange.h"
#include "simulator/faults.h"
#include "simulator/life.h"
#include "simulator/line.h"
#include "simulator/station.h"

#include <QString>
#include <functional>
#include <mutex>
#include <thread>

namespace simulator {

struct ServerSettings
{
    StationSettings station;
    FaultScript faults;
    quint32 seed = 1;     ///< of the faults, and of the data of a processor swapped in
    bool isAlive = false; ///< whether the data move by themselves (Life)
    int pace = 0;         ///< bit/s at which bytes are sent and taken; 0: at once
    /// Called for every transaction, in the server's thread; may be empty.
    std::function<void(const Exchange& exchange)> log;
    /// Called when the line breaks and serving ends by itself, in the server's thread;
    /// empty: a warning is printed.
    std::function<void(const QString& reason)> broken;
};

/// One controller behind one station, served by a thread of its own. The line can be
/// opened, closed and opened again by any number of clients, one after the other; like
/// a real line it keeps what a client has left unread, except over TCP, and the
/// station goes on where it stands. Any number of servers live beside each other.
///
/// snapshot() and change() are for any thread, all other members for one, the
/// owner's.
class Server
{
public:
    explicit Server(Controller controller, ServerSettings settings = {});
    /// Stops.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Opens the place and serves it. False with the reason in @p error, which is not
    /// null, and nothing left open. After stop() it can be started again, with a fresh
    /// station.
    bool start(const Place& place, QString* error);
    /// What clients open, such as /dev/pts/3 or tcp://127.0.0.1:4001; empty while not
    /// running.
    QString portName() const { return m_line ? m_line->name() : QString(); }
    /// Ends the thread and closes the line; clients that have it open see a hang-up.
    /// Does nothing when not running.
    void stop();

    /// A copy of all data files as they are between two requests, whether running
    /// or not. The effect of every request whose reply has arrived is in it. Data that
    /// live are those of the last request.
    DataTables snapshot() const;
    /// Runs @p apply on the data files between two requests; they see all of the
    /// change or nothing of it. @p apply calls no member of this server and keeps
    /// no reference.
    void change(const std::function<void(DataTables&)>& apply);

private:
    void serve();
    void closeLine();
    QByteArray execute(const QByteArray& request, const LinkCounters& counters);
    void affect(const SideEffects& effects);

    mutable std::mutex m_controllerMutex;
    Controller m_controller; // guarded by its mutex, like the life of its data
    Life m_life;
    ServerSettings m_settings;
    std::unique_ptr<Line> m_line;
    int m_wake = -1;
    std::thread m_thread;
};

/// A server on a pseudo-terminal whose data stand still.
class PtyServer : public Server
{
public:
    explicit PtyServer(Controller controller, const StationSettings& station = {});
    /// Opens a new pseudo-terminal, its client's end in raw mode.
    bool start(QString* error) { return Server::start(PtyPlace(), error); }
};

}
