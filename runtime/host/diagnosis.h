// Finds out who answers on a line, and at which settings. Sends nothing but echo and
// diagnostic status requests: a controller's data stay as they are.
#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <optional>

#include "drivers/abstractdeviceinterface.h"
#include "host/diagnosticexchange.h"
#include "host/link.h"
#include "host/tracer.h"

namespace host {

/// A line that can be opened again and again.
class DiagnosisLine
{
public:
    virtual ~DiagnosisLine() = default;

    /// Closes what is open and opens the line at @p settings. The port belongs to the
    /// line and is good until the next call. Null, with one line in @p error, which is
    /// not null, when it can't be opened so.
    virtual AbstractDeviceInterface* open(const LineSettings& settings, QString* error) = 0;
    /// Whether the settings of an open line make a difference.
    virtual bool hasSettings() const = 0;
    /// Why the open line is lost, in words; empty while it lives.
    virtual QString loss() const = 0;
};

/// Of a real link; see Link for its texts and threads.
class LinkLine : public DiagnosisLine
{
public:
    /// @p observe, where there is one, is told of the traffic.
    explicit LinkLine(const QString& text, TrafficReader::Taker observe = nullptr);

    AbstractDeviceInterface* open(const LineSettings& settings, QString* error) override;
    bool hasSettings() const override { return m_link->hasLineSettings(); }
    QString loss() const override;

private:
    const QString m_text;
    const TrafficReader::Taker m_observe;
    std::unique_ptr<Link> m_link;
    std::unique_ptr<TracedPort> m_traced;
};

/// What is asked, and what is taken for right.
struct DiagnosisSettings
{
    LineSettings line;        ///< asked first
    int station = 1;          ///< of the controller; asked first
    int self = 0;             ///< the host's own station
    int timeoutMs = 500;      ///< silence that ends the wait for an answer
    int retries = 1;          ///< further attempts where one brings no reply
    unsigned int delayMs = 0; ///< pause before every attempt
    bool allStations = false; ///< ask every station on a silent line too
};

/// A question and its outcome.
struct Probe
{
    LineSettings line;
    int station;
    CheckMethod check;
    ProbeOutcome outcome;
    bool isOfMany; ///< one of many alike: stations in a row, echoes to make sure
};

/// The end of a diagnosis.
enum class Finding
{
    Silence,
    Garbage,
    Naks,        ///< to frames of both check methods
    Unanswered,  ///< frames arrive, but no station replies
    Misnamed,    ///< replies name another station than the only one that is answered
    PortFault,   ///< the line can't be opened, or was lost
    Echo,        ///< what is sent comes back; a controller may answer behind it
    Bcc,         ///< there is a controller, but it checks by BCC
    FlowControl, ///< there is one, but bytes 11 and 13 don't get through
    Unsteady,    ///< there is one, but not every answer is right
    Refused,     ///< there is one, but it refuses to be asked
    Healthy
};

struct Diagnosis
{
    Finding finding = Finding::Silence;
    LineSettings line; ///< what was found, or where something came back first
    int station = 0;   ///< that answers
    CheckMethod check = CheckMethod::Crc;
    bool hasLineSettings = true; ///< otherwise the line's can't be told from here
    int linesTried = 0;          ///< different settings of the line
    int named = 0;               ///< the station that replies name; of Misnamed
    int status = 0;              ///< STS; of Refused
    int asked = 0;               ///< echoes; of Unsteady and FlowControl
    int lost = 0;                ///< of these; without a right answer and nothing else
    std::optional<ControllerStatus> controller; ///< who answers, where it has told
    QString fault;                              ///< of PortFault: one line
};

/// Looks for a controller: at the settings given, then at usual ones, by CRC and by BCC,
/// and, where frames are acknowledged but not answered, at every station; makes sure of
/// what it finds by some echoes more. @p report is called after every question and may
/// throw, which ends the diagnosis. Takes up to a minute on a silent serial line.
Diagnosis diagnose(DiagnosisLine& line, const DiagnosisSettings& settings,
                   const std::function<void(const Probe&)>& report);

/// Whether the controller answers rightly, and does so with what was given.
bool isHealthyAsGiven(const Diagnosis& diagnosis, const DiagnosisSettings& settings);
/// A word for programs, such as "silence" or "flow-control".
QString nameOf(Finding finding);
/// One line: what was found, and what to do about it.
QString verdictOf(const Diagnosis& diagnosis, const DiagnosisSettings& settings);
/// What to give df1 for the controller that was found, such as "--port /dev/ttyUSB0
/// --line 19200,NONE,8,1 --station 1"; empty when there is none.
QString optionsFor(const Diagnosis& diagnosis, const QString& port);

}
