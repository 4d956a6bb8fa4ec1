#include "host/diagnosis.h"

#include <QThread>

#include <stdexcept>
#include <utility>
#include <vector>

namespace host {

namespace {

const int HIGHEST_STATION = 254;
/// A reply follows its acknowledgement at once, or never comes.
const int SWEEP_TIMEOUT_MS = 200;
const int ECHO_ROUNDS = 10;

/// The line is gone, with its reason.
class LineLost : public std::runtime_error
{
public:
    explicit LineLost(const QString& reason)
        : std::runtime_error(reason.toStdString())
    {}
};

/// What channels of the family can be set to, the commonest first, after @p given.
std::vector<LineSettings> linesToTry(const LineSettings& given)
{
    const int speeds[] = {19200, 9600, 38400, 57600, 115200, 4800, 2400, 1200, 600, 300};
    std::vector<LineSettings> lines{given};
    for (const auto parity : {QSerialPort::NoParity, QSerialPort::EvenParity}) {
        for (const int speed : speeds) {
            LineSettings line;
            line.baudRate = speed;
            line.parity = parity;
            if (line.toText() != given.toText())
                lines.push_back(line);
        }
    }
    return lines;
}

/// Data that a line may stumble over: DLE, ends of the range, changing bits; every
/// other round also what switches a flow control off and on again.
QByteArray echoData(bool withFlowControl)
{
    const QByteArray hard = QByteArray::fromHex("10007F80FF55AA1002100300FE01");
    return withFlowControl ? hard + QByteArray::fromHex("1311") + hard : hard + hard;
}

class Examination
{
public:
    Examination(DiagnosisLine& line, const DiagnosisSettings& settings,
                const std::function<void(const Probe&)>& report)
        : m_line(line)
        , m_settings(settings)
        , m_report(report)
    {}

    Diagnosis run()
    {
        m_result.line = m_settings.line;
        m_result.station = m_settings.station;
        try {
            search();
        } catch (const LineLost& lost) {
            m_result.finding = Finding::PortFault;
            m_result.fault = QString::fromUtf8(lost.what());
        }
        return m_result;
    }

private:
    void search()
    {
        openGiven();
        m_result.hasLineSettings = m_line.hasSettings();
        bool isOver = examineLine();
        if (!m_result.hasLineSettings)
            return;
        const std::vector<LineSettings> lines = linesToTry(m_settings.line);
        for (size_t i = 1; i < lines.size() && !isOver; ++i)
            isOver = open(lines[i]) && examineLine();
    }

    void openGiven()
    {
        QString error;
        m_at = m_settings.line;
        m_port = m_line.open(m_at, &error);
        if (m_port == nullptr)
            throw LineLost(error);
    }

    /// False for settings that the device does not have.
    bool open(const LineSettings& line)
    {
        QString error;
        m_at = line;
        m_port = m_line.open(line, &error);
        if (m_port == nullptr)
            openGiven(); // fails when it is the device that has gone
        return m_at.toText() == line.toText();
    }

    /// Whether the search is over.
    bool examineLine()
    {
        ++m_result.linesTried;
        CheckMethod check = CheckMethod::Crc;
        ProbeAnswer answer = probeRepeatedly(m_settings.station, check);
        const bool mayBeBcc =
            answer.outcome == ProbeOutcome::Nak || answer.outcome == ProbeOutcome::Garbage
            || (answer.outcome == ProbeOutcome::Silence && !m_result.hasLineSettings);
        if (mayBeBcc) {
            const ProbeAnswer other = probeRepeatedly(m_settings.station, CheckMethod::Bcc);
            if (other.outcome > answer.outcome) {
                answer = other;
                check = CheckMethod::Bcc;
            }
        }
        switch (answer.outcome) {
        case ProbeOutcome::Silence:
            return m_settings.allStations && sweep(check);
        case ProbeOutcome::Garbage:
            consider(Finding::Garbage);
            return false;
        case ProbeOutcome::Nak:
            consider(Finding::Naks);
            return false;
        case ProbeOutcome::Echo:
            conclude(Finding::Echo, m_settings.station, check);
            return true;
        case ProbeOutcome::Acknowledged:
            conclude(Finding::Unanswered, m_settings.station, check);
            sweep(check);
            return true;
        case ProbeOutcome::Replied:
            settle(m_settings.station, answer);
            return true;
        }
        return true;
    }

    /// Asks every station; whether one has replied.
    bool sweep(CheckMethod check)
    {
        for (int station = 0; station <= HIGHEST_STATION; ++station) {
            if (station == m_settings.station)
                continue;
            ProbeAnswer answer = probe(station, check, true);
            if (answer.outcome == ProbeOutcome::Nak)
                answer = probe(station, check, true);
            if (answer.outcome != ProbeOutcome::Replied)
                continue;
            settle(station, answer);
            return true;
        }
        return false;
    }

    /// Somebody has replied to @p station: who, and how steadily?
    void settle(int station, const ProbeAnswer& answer)
    {
        const int named = answer.reply.source;
        if (named != station) {
            const ProbeAnswer again = probeRepeatedly(named, answer.check);
            if (again.outcome != ProbeOutcome::Replied || again.reply.source != named) {
                conclude(Finding::Misnamed, station, answer.check);
                m_result.named = named;
                return;
            }
        }
        const ProbeAnswer status = askStatusOf(named, answer.check);
        if (status.outcome == ProbeOutcome::Replied && status.reply.status == 0)
            m_result.controller = controllerStatus(status.reply.data);
        m_result.status = answer.reply.status;
        const bool isRefused = m_result.status != 0 && !m_result.controller;
        conclude(isRefused ? Finding::Refused : Finding::Healthy, named, answer.check);
        if (answer.isEchoed)
            m_result.finding = Finding::Echo;
        else if (answer.check == CheckMethod::Bcc)
            m_result.finding = Finding::Bcc;
        else if (m_result.status == 0)
            measure();
    }

    ProbeAnswer askStatusOf(int station, CheckMethod check)
    {
        ProbeAnswer answer;
        for (int attempt = 0;
             attempt <= m_settings.retries && answer.outcome != ProbeOutcome::Replied; ++attempt)
            answer = exchange(statusRequest(envelopeTo(station)), check, m_settings.timeoutMs);
        return answer;
    }

    void measure()
    {
        int lostWithFlowControl = 0;
        for (int round = 0; round < ECHO_ROUNDS; ++round) {
            const bool withFlowControl = round % 2 != 0;
            const QByteArray data = echoData(withFlowControl);
            const ProbeAnswer answer = exchange(echoRequest(envelopeTo(m_result.station), data),
                                                m_result.check, m_settings.timeoutMs);
            tell(m_result.station, m_result.check, answer.outcome, true);
            ++m_result.asked;
            if (answer.isClean && answer.reply.data == data)
                continue;
            ++m_result.lost;
            lostWithFlowControl += withFlowControl ? 1 : 0;
        }
        if (m_result.lost == 0)
            return;
        // The check of any other frame may happen to hold such a byte.
        const bool isFlowControl =
            lostWithFlowControl == m_result.asked / 2 && m_result.lost - lostWithFlowControl <= 1;
        m_result.finding = isFlowControl ? Finding::FlowControl : Finding::Unsteady;
    }

    /// The best of several attempts. Silence is asked again on the line given only: on
    /// all of them it would take too long.
    ProbeAnswer probeRepeatedly(int station, CheckMethod check)
    {
        ProbeAnswer best;
        for (int attempt = 0; attempt <= m_settings.retries; ++attempt) {
            const ProbeAnswer answer = probe(station, check, false);
            if (answer.outcome >= best.outcome)
                best = answer;
            const bool isClear = best.outcome == ProbeOutcome::Replied
                                 || (best.outcome == ProbeOutcome::Silence
                                     && m_at.toText() != m_settings.line.toText());
            if (isClear)
                break;
            if (answer.outcome == ProbeOutcome::Nak)
                releaseReplies(*m_port, secondsPerByte());
        }
        return best;
    }

    ProbeAnswer probe(int station, CheckMethod check, bool isOfMany)
    {
        const int timeoutMs =
            isOfMany ? qMin(m_settings.timeoutMs, SWEEP_TIMEOUT_MS) : m_settings.timeoutMs;
        ProbeAnswer answer = exchange(probeRequest(station), check, timeoutMs);
        tell(station, check, answer.outcome, isOfMany);
        return answer;
    }

    ProbeAnswer exchange(const QByteArray& request, CheckMethod check, int timeoutMs)
    {
        QThread::msleep(m_settings.delayMs);
        ProbeAnswer answer = ask(*m_port, request, check, {timeoutMs, secondsPerByte()});
        const QString loss = m_line.loss();
        if (!loss.isEmpty())
            throw LineLost(loss);
        return answer;
    }

    double secondsPerByte() const { return m_result.hasLineSettings ? m_at.secondsPerByte() : 0; }

    QByteArray probeRequest(int station) const
    {
        QByteArray request;
        do
            request = echoRequest(envelopeTo(station), QByteArray::fromHex("55AA"));
        while (isSoundWithEither(request));
        return request;
    }

    Envelope envelopeTo(int station) const
    {
        return {static_cast<quint8>(station), static_cast<quint8>(m_settings.self),
                freshTransaction()};
    }

    void tell(int station, CheckMethod check, ProbeOutcome outcome, bool isOfMany) const
    {
        m_report({m_at, station, check, outcome, isOfMany});
    }

    /// Keeps the worst news of the lines so far, and where it came from first.
    void consider(Finding finding)
    {
        if (finding > m_result.finding)
            conclude(finding, m_settings.station, CheckMethod::Crc);
    }

    void conclude(Finding finding, int station, CheckMethod check)
    {
        m_result.finding = finding;
        m_result.line = m_at;
        m_result.station = station;
        m_result.check = check;
    }

    DiagnosisLine& m_line;
    const DiagnosisSettings& m_settings;
    const std::function<void(const Probe&)>& m_report;
    AbstractDeviceInterface* m_port = nullptr;
    LineSettings m_at; // what the port is open at
    Diagnosis m_result;
};

}

LinkLine::LinkLine(const QString& text, TrafficReader::Taker observe)
    : m_text(text)
    , m_observe(std::move(observe))
{}

AbstractDeviceInterface* LinkLine::open(const LineSettings& settings, QString* error)
{
    m_traced.reset();
    m_link.reset(); // the device is locked while it is open
    m_link = Link::open(m_text, settings, PortSettings(), error);
    if (m_link == nullptr)
        return nullptr;
    if (!m_observe)
        return &m_link->port();
    m_traced = std::make_unique<TracedPort>(m_link->port(), m_observe);
    return m_traced.get();
}

QString LinkLine::loss() const
{
    const QString fault = m_link->port().deviceError();
    return fault.isEmpty() ? fault : m_text + QStringLiteral(": ") + fault;
}

Diagnosis diagnose(DiagnosisLine& line, const DiagnosisSettings& settings,
                   const std::function<void(const Probe&)>& report)
{
    return Examination(line, settings, report).run();
}

}
