#include "simulator/server.h"

#include "simulator/session.h"

#include <chrono>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace simulator {

namespace {

qint64 monotonicMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

ServerSettings settingsOf(const StationSettings& station)
{
    ServerSettings settings;
    settings.station = station;
    return settings;
}

}

Server::Server(Controller controller, ServerSettings settings)
    : m_controller(std::move(controller))
    , m_settings(std::move(settings))
{}

Server::~Server()
{
    stop();
}

bool Server::start(const Place& place, QString* error)
{
    if (m_thread.joinable()) {
        *error = QString("already serving on %1; stop it first").arg(portName());
        return false;
    }
    m_line = openLine(place, error);
    if (!m_line)
        return false;
    m_wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wake < 0) {
        *error = systemFailure("making the server's wake-up descriptor");
        closeLine();
        return false;
    }
    {
        const std::lock_guard<std::mutex> lock(m_controllerMutex);
        if (m_settings.isAlive)
            m_life.advance(m_controller.tables(), monotonicMs());
    }
    try {
        m_thread = std::thread([this] { serve(); });
    } catch (const std::system_error& refused) {
        *error = systemFailure("starting the server's thread", refused.code().value());
        closeLine();
        return false;
    }
    return true;
}

void Server::serve()
{
    const Session::Settings settings = {m_settings.station, m_settings.faults, m_settings.seed,
                                        m_settings.pace};
    Session session(*m_line, m_wake, settings,
                    {[this](const QByteArray& request, const LinkCounters& counters) {
                         return execute(request, counters);
                     },
                     [this](const SideEffects& effects) { affect(effects); }, m_settings.log});
    const QString broken = session.run();
    if (broken.isEmpty())
        return;
    if (m_settings.broken)
        m_settings.broken(broken);
    else
        qWarning("simulator: no longer serving: %s", qPrintable(broken));
}

DataTables Server::snapshot() const
{
    const std::lock_guard<std::mutex> lock(m_controllerMutex);
    return m_controller.tables();
}

void Server::change(const std::function<void(DataTables&)>& apply)
{
    const std::lock_guard<std::mutex> lock(m_controllerMutex);
    apply(m_controller.tables());
}

QByteArray Server::execute(const QByteArray& request, const LinkCounters& counters)
{
    const std::lock_guard<std::mutex> lock(m_controllerMutex);
    if (m_settings.isAlive)
        m_life.advance(m_controller.tables(), monotonicMs());
    m_controller.setLinkCounters(counters);
    return m_controller.execute(request);
}

void Server::affect(const SideEffects& effects)
{
    if (!effects.programMode && !effects.swappedModel)
        return;
    const std::lock_guard<std::mutex> lock(m_controllerMutex);
    QString unknown;
    const Model* model = modelOf(QString::number(effects.swappedModel.value_or(0)), &unknown);
    if (model)
        m_controller = Controller(seededTables(m_settings.seed + 1, *model), *model);
    if (effects.programMode)
        setProcessorMode(m_controller.tables(), ProcessorMode::RemoteProgram);
}

void Server::closeLine()
{
    m_line.reset();
    if (m_wake >= 0)
        ::close(m_wake);
    m_wake = -1;
}

void Server::stop()
{
    if (!m_thread.joinable())
        return;
    ::eventfd_write(m_wake, 1);
    m_thread.join();
    closeLine();
}

PtyServer::PtyServer(Controller controller, const StationSettings& station)
    : Server(std::move(controller), settingsOf(station))
{}

}
