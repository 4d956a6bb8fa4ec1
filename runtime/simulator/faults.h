// What goes wrong on a simulated line, and when: a script between a station's output
// and the line. Bytes and time go in, timed bytes come out; the same seed and the
// same input give the same bytes.
//
// A script as text is a list of faults, separated by commas:
//
//   NAME [@N | /N | %P] [xCOUNT] [:VALUE]
//
//   nak@3x2      at transaction 3, and at the one after it
//   silence/10   at every tenth
//   flip%1.5:4   at 1.5 % of them, byte 4
//   twice        at every transaction
//
// As JSON it is { "faults": [ { "fault": "nak", "at": 3, "times": 2 },
// { "fault": "silence", "every": 10 }, { "fault": "flip", "percent": 1.5,
// "value": 4 } ] }.
//
// Every answer of the station, ACK or NAK, begins a transaction; the first is 1. A
// fault happens once in a transaction: a reply that is asked for again comes whole.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <random>
#include <vector>

#include "simulator/framecodec.h"

namespace simulator {

struct FaultKind;

/// One line of a script.
struct Fault
{
    enum class When
    {
        Always,
        At,
        Every,
        Rate,
    };

    const FaultKind* kind = nullptr;
    When when = When::Always;
    int number = 1;     ///< of At and Every
    double percent = 0; ///< of Rate
    int times = 1;      ///< consecutive transactions, from the one that fits on
    std::optional<int> value;
};

using FaultScript = std::vector<Fault>;

/// Reads a script; on failure nothing, and @p error, which is not null, says what is
/// wrong and what would be right.
std::optional<FaultScript> parseFaults(const QString& text, QString* error);
std::optional<FaultScript> parseFaultsJson(const QByteArray& json, QString* error);
/// A line for each fault: its name, its value and what it does.
QStringList faultHelp();
QStringList faultNames();

/// Bytes that go onto the line at a time, in milliseconds.
struct TimedBytes
{
    qint64 at;
    QByteArray bytes;
};

/// What faults ask of the controller and its line.
struct SideEffects
{
    bool programMode = false;        ///< the processor goes into Program mode
    std::optional<int> swappedModel; ///< another processor: the number of its model
    bool hangUp = false;             ///< the connection breaks once what is due is out
    int forgottenReplies = 0;        ///< replies that the station need not wait for
};

class Faults
{
public:
    Faults(FaultScript script, quint32 seed, CheckMethod check);
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    struct Passed
    {
        std::vector<TimedBytes> line; ///< in the order of their times
        SideEffects effects;
        QStringList names; ///< of the faults that began here
    };

    /// Takes what the station sends at @p now: whole symbols and frames.
    Passed pass(const QByteArray& output, qint64 now);

private:
    void beginTransaction(Passed& passed);

    FaultScript m_script;
    std::vector<int> m_left; // transactions that each fault still has to happen in
    std::mt19937 m_random;
    CheckMethod m_check;
    int m_transaction = 0;
    std::vector<const Fault*> m_active;
    QByteArray m_previousReply;
};

}
