#include "simulator/faults.h"

#include "simulator/jsonfile.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QtEndian>
#include <algorithm>

namespace simulator {

namespace {

enum class Unit
{
    Answer, // DLE ACK, DLE NAK
    Reply,  // a frame
    Other,  // DLE ENQ
};

// A unit on its way to the line.
struct Passage
{
    Unit unit;
    std::vector<TimedBytes>& pieces; // its bytes; at is a delay
    int value;
    CheckMethod check;
    const QByteArray& previousReply;
    std::mt19937& random;
    SideEffects& effects;

    QByteArray& bytes() const { return pieces.front().bytes; }
    int below(qsizetype limit) const
    {
        return static_cast<int>(random() % static_cast<quint32>(limit));
    }
    char randomByte() const { return static_cast<char>(below(256)); }
};

constexpr int anywhere = -1;

}

/// One row of the table: what a fault is called and what it does.
struct FaultKind
{
    const char* name;
    bool onAnswer;
    bool onReply;
    const char* valueName; ///< empty: takes none
    int usualValue;
    int lowest;
    int highest;
    const char* text;
    void (*apply)(const Passage&);
};

namespace {

void drop(const Passage& p)
{
    p.pieces.clear();
}

void replaceAnswer(const Passage& p, char code)
{
    p.bytes() = controlPair(code);
}

// What the controller has not heard it does not answer, nor waits for being heard.
void forget(const Passage& p)
{
    p.pieces.clear();
    if (p.unit == Unit::Reply)
        ++p.effects.forgottenReplies;
}

void nak(const Passage& p)
{
    if (p.unit == Unit::Answer)
        replaceAnswer(p, symbol::NAK);
    else
        forget(p);
}

void damageAnswer(const Passage& p)
{
    p.bytes()[1] = static_cast<char>(p.bytes().at(1) ^ (1 << p.below(8)));
}

void sendTwice(const Passage& p)
{
    p.pieces.push_back(p.pieces.front());
}

void sendPrevious(const Passage& p)
{
    p.bytes() = p.previousReply;
}

int position(const Passage& p)
{
    const auto size = p.bytes().size();
    return p.value == anywhere ? p.below(size)
                               : static_cast<int>(std::min<qsizetype>(p.value, size - 1));
}

void flip(const Passage& p)
{
    const int at = position(p);
    p.bytes()[at] = static_cast<char>(p.bytes().at(at) ^ (1 << p.below(8)));
}

void dropByte(const Passage& p)
{
    p.bytes().remove(position(p), 1);
}

void insertByte(const Passage& p)
{
    p.bytes().insert(position(p), p.randomByte());
}

void doubleByte(const Passage& p)
{
    const int at = position(p);
    p.bytes().insert(at, p.bytes().at(at));
}

void cutInHalf(const Passage& p)
{
    p.bytes().truncate(p.bytes().size() / 2);
}

void babble(const Passage& p)
{
    QByteArray noise;
    for (int i = 0; i < p.value; ++i)
        noise.append(p.randomByte());
    p.bytes().prepend(noise);
}

void delay(const Passage& p)
{
    for (TimedBytes& piece : p.pieces)
        piece.at += p.value;
}

// Applies to the message what makes a wrong one, in a frame that is sound.
template <typename Change>
void reword(const Passage& p, Change change)
{
    FrameDecoder decoder(p.check);
    for (const char byte : p.bytes()) {
        if (decoder.take(byte) != FrameDecoder::Event::Message)
            continue;
        QByteArray message = decoder.message();
        change(message);
        p.bytes() = encodeFrame(message, p.check);
        return;
    }
}

void raise(const Passage& p, int at)
{
    reword(p, [at](QByteArray& message) { message[at] = static_cast<char>(message.at(at) + 1); });
}

// Not the next one: together with a reply that comes late this would make a sound answer
// to the request behind it, with the data of another, which nobody could tell.
void lowerTns(const Passage& p)
{
    reword(p, [](QByteArray& message) {
        auto* const tns = reinterpret_cast<uchar*>(message.data()) + 4;
        qToLittleEndian<quint16>(static_cast<quint16>(qFromLittleEndian<quint16>(tns) - 1), tns);
    });
}

void refuse(const Passage& p, quint8 status, const QByteArray& extended)
{
    reword(p, [&](QByteArray& message) {
        message.truncate(6);
        message[3] = static_cast<char>(status);
        message += extended;
    });
}

const std::vector<FaultKind>& kinds()
{
    constexpr int headerSource = 1;
    constexpr int headerCommand = 2;
    static const std::vector<FaultKind> table = {
        {"lose-ack", true, false, "", 0, 0, 0, "the ACK is lost", drop},
        {"damage-ack", true, false, "", 0, 0, 0, "one bit of the ACK's second byte is flipped",
         damageAnswer},
        {"nak", true, true, "", 0, 0, 0, "NAK instead of ACK, and no reply", nak},
        {"enq", true, false, "", 0, 0, 0, "ENQ instead of ACK",
         [](const Passage& p) { replaceAnswer(p, symbol::ENQ); }},
        {"silence", true, true, "", 0, 0, 0, "neither ACK nor reply", forget},
        {"lose-reply", false, true, "", 0, 0, 0, "the reply is lost", drop},
        {"late", false, true, "MS", 700, 1, 600000, "the reply comes MS milliseconds late", delay},
        {"twice", false, true, "", 0, 0, 0, "the reply comes twice", sendTwice},
        {"previous", false, true, "", 0, 0, 0, "the reply before this one comes again instead",
         sendPrevious},
        {"wrong-station", false, true, "", 0, 0, 0, "the reply is from the next station number",
         [](const Passage& p) { raise(p, headerSource); }},
        {"wrong-command", false, true, "", 0, 0, 0, "the reply is to the next command code",
         [](const Passage& p) { raise(p, headerCommand); }},
        {"wrong-tns", false, true, "", 0, 0, 0, "the reply has the transaction number before",
         lowerTns},
        {"flip", false, true, "BYTE", anywhere, 0, 600,
         "one bit of the reply is flipped, in byte BYTE or anywhere", flip},
        {"drop", false, true, "BYTE", anywhere, 0, 600,
         "one byte of the reply is lost, byte BYTE or any", dropByte},
        {"insert", false, true, "BYTE", anywhere, 0, 600,
         "a random byte is inserted in the reply, before byte BYTE or anywhere", insertByte},
        {"double", false, true, "BYTE", anywhere, 0, 600,
         "one byte of the reply comes twice, byte BYTE or any", doubleByte},
        {"half", false, true, "", 0, 0, 0, "the reply ends half-way", cutInHalf},
        {"babble", true, false, "COUNT", 64, 1, 65536, "COUNT random bytes before the ACK", babble},
        {"sts", false, true, "STS", 0x10, 0, 255, "the reply has status STS and no data",
         [](const Passage& p) { refuse(p, static_cast<quint8>(p.value), {}); }},
        {"ext-sts", false, true, "EXT", 0x06, 0, 255,
         "the reply has status F0, extended status EXT and no data",
         [](const Passage& p) { refuse(p, 0xF0, QByteArray(1, static_cast<char>(p.value))); }},
        {"program", true, false, "", 0, 0, 0,
         "the processor is in Program mode from now on (S2:1), and its data stand still",
         [](const Passage& p) { p.effects.programMode = true; }},
        {"swap", true, false, "MODEL", 1400, 1000, 1500,
         "from the next transaction on there is another processor, of model MODEL",
         [](const Passage& p) { p.effects.swappedModel = p.value; }},
        {"hang-up", true, true, "", 0, 0, 0,
         "the TCP connection is closed without an answer; on other lines as silence",
         [](const Passage& p) {
             forget(p);
             p.effects.hangUp = true;
         }},
    };
    return table;
}

const FaultKind& kindOf(const QString& name)
{
    for (const FaultKind& kind : kinds()) {
        if (name == kind.name)
            return kind;
    }
    throw JsonFault(
        QString(),
        QString("unknown fault \"%1\"; there are %2").arg(name, faultNames().join(", ")));
}

void setValue(Fault& fault, int value)
{
    const FaultKind& kind = *fault.kind;
    if (*kind.valueName == '\0')
        throw JsonFault(kind.name, "takes no value");
    if (value < kind.lowest || value > kind.highest)
        throw JsonFault(kind.name, QString("the value, %1, must be from %2 to %3")
                                       .arg(kind.valueName)
                                       .arg(kind.lowest)
                                       .arg(kind.highest));
    fault.value = value;
}

void setWhen(Fault& fault, Fault::When when, double number)
{
    const bool isRate = when == Fault::When::Rate;
    if (isRate ? number > 100 || number < 0 : number < 1 || number > 1e9)
        throw JsonFault(fault.kind->name, isRate ? "a rate must be from 0 to 100 percent"
                                                 : "transactions are counted from 1 on");
    fault.when = when;
    fault.number = static_cast<int>(number);
    fault.percent = number;
}

Fault parseFault(const QString& text)
{
    static const QRegularExpression form(
        "^([a-z-]+?)(?:([@/])(\\d{1,9})|%(\\d+(?:\\.\\d+)?))?(?:x(\\d{1,9}))?"
        "(?::(0x[0-9A-Fa-f]{1,4}|\\d{1,9}))?$");
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        throw JsonFault(QString(),
                        '"' + text
                            + "\" is no fault; write NAME[@N|/N|%P][xCOUNT][:VALUE], such as "
                              "nak@3x2, flip%1 or silence/10");
    Fault fault;
    fault.kind = &kindOf(match.captured(1));
    if (!match.captured(4).isEmpty())
        setWhen(fault, Fault::When::Rate, match.captured(4).toDouble());
    else if (!match.captured(3).isEmpty())
        setWhen(fault, match.captured(2) == "@" ? Fault::When::At : Fault::When::Every,
                match.captured(3).toDouble());
    if (!match.captured(5).isEmpty())
        fault.times = std::max(1, match.captured(5).toInt());
    if (!match.captured(6).isEmpty())
        setValue(fault, match.captured(6).toInt(nullptr, 0));
    return fault;
}

Fault parseFault(const QJsonValue& value, const QString& path)
{
    const QJsonObject object = value.toObject();
    requireKnown(object, path, {"fault", "at", "every", "percent", "times", "value"});
    Fault fault;
    fault.kind = &kindOf(object["fault"].toString());
    const std::pair<const char*, Fault::When> whens[] = {
        {"at", Fault::When::At}, {"every", Fault::When::Every}, {"percent", Fault::When::Rate}};
    for (const auto& [name, when] : whens) {
        if (!object.contains(name))
            continue;
        if (fault.when != Fault::When::Always)
            throw JsonFault(path, "give one of \"at\", \"every\" and \"percent\"");
        if (!object[name].isDouble())
            throw JsonFault(path + '.' + name, "must be a number");
        setWhen(fault, when, object[name].toDouble());
    }
    if (object.contains("times"))
        fault.times = jsonNumber(object["times"], path + ".times", 1, 1000000000);
    if (object.contains("value"))
        setValue(fault, jsonNumber(object["value"], path + ".value", 0, 1000000));
    return fault;
}

// The first symbol or frame of a station's output.
QByteArray firstUnit(const QByteArray& output, CheckMethod check)
{
    FrameDecoder decoder(check);
    for (int i = 0; i < output.size(); ++i) {
        if (decoder.take(output.at(i)) != FrameDecoder::Event::Nothing)
            return output.left(i + 1);
    }
    return output;
}

Unit unitOf(const QByteArray& bytes)
{
    if (bytes.size() > 2)
        return Unit::Reply;
    return bytes.endsWith(symbol::ENQ) ? Unit::Other : Unit::Answer;
}

}

std::optional<FaultScript> parseFaults(const QString& text, QString* error)
{
    try {
        FaultScript script;
        for (const QString& fault : text.split(',', Qt::SkipEmptyParts))
            script.push_back(parseFault(fault.trimmed()));
        return script;
    } catch (const JsonFault& fault) {
        *error = fault.text();
        return std::nullopt;
    }
}

std::optional<FaultScript> parseFaultsJson(const QByteArray& json, QString* error)
{
    try {
        const QJsonObject object = jsonObject(json);
        requireKnown(object, QString(), {"faults"});
        if (!object["faults"].isArray())
            throw JsonFault("faults", "must be an array of faults");
        const QJsonArray faults = object["faults"].toArray();
        FaultScript script;
        for (int i = 0; i < faults.size(); ++i)
            script.push_back(parseFault(faults[i], QString("faults[%1]").arg(i)));
        return script;
    } catch (const JsonFault& fault) {
        *error = fault.text();
        return std::nullopt;
    }
}

QStringList faultNames()
{
    QStringList names;
    for (const FaultKind& kind : kinds())
        names << kind.name;
    return names;
}

QStringList faultHelp()
{
    QStringList lines;
    for (const FaultKind& kind : kinds()) {
        const QString value = *kind.valueName == '\0' ? QString() : QString(":") + kind.valueName;
        QString usual;
        if (!value.isEmpty() && kind.usualValue != anywhere)
            usual = kind.highest == 255 ? QString(" (0x%1)").arg(kind.usualValue, 2, 16, QChar('0'))
                                        : QString(" (%1)").arg(kind.usualValue);
        lines << QString("%1 %2%3").arg((kind.name + value).leftJustified(14), kind.text, usual);
    }
    return lines;
}

Faults::Faults(FaultScript script, quint32 seed, CheckMethod check)
    : m_script(std::move(script))
    , m_left(m_script.size(), 0)
    , m_random(seed)
    , m_check(check)
{}

void Faults::beginTransaction(Passed& passed)
{
    ++m_transaction;
    m_active.clear();
    for (size_t i = 0; i < m_script.size(); ++i) {
        const Fault& fault = m_script[i];
        bool begins = fault.when == Fault::When::Always;
        if (fault.when == Fault::When::At)
            begins = m_transaction == fault.number;
        if (fault.when == Fault::When::Every)
            begins = m_transaction % fault.number == 0;
        // Drawn in every transaction, so that one fault's length does not move others.
        if (fault.when == Fault::When::Rate)
            begins = static_cast<double>(m_random()) < fault.percent / 100.0 * 4294967296.0;
        if (begins)
            m_left[i] = fault.times;
        if (m_left[i] == 0)
            continue;
        --m_left[i];
        m_active.push_back(&fault);
        passed.names << fault.kind->name;
    }
}

Faults::Passed Faults::pass(const QByteArray& output, qint64 now)
{
    Passed passed;
    for (int at = 0; at < output.size();) {
        const QByteArray bytes = firstUnit(output.mid(at), m_check);
        at += static_cast<int>(bytes.size());
        const Unit unit = unitOf(bytes);
        if (unit == Unit::Answer)
            beginTransaction(passed);
        std::vector<TimedBytes> pieces = {{0, bytes}};
        for (const Fault* fault : m_active) {
            const FaultKind& kind = *fault->kind;
            const bool fits = unit == Unit::Answer ? kind.onAnswer : kind.onReply;
            if (unit == Unit::Other || !fits || pieces.empty() || pieces.front().bytes.isEmpty())
                continue;
            kind.apply({unit, pieces, fault->value.value_or(kind.usualValue), m_check,
                        m_previousReply, m_random, passed.effects});
        }
        if (unit == Unit::Reply) {
            m_previousReply = bytes;
            m_active.clear();
        }
        for (const TimedBytes& piece : pieces)
            passed.line.push_back({now + piece.at, piece.bytes});
    }
    std::stable_sort(passed.line.begin(), passed.line.end(),
                     [](const TimedBytes& a, const TimedBytes& b) { return a.at < b.at; });
    return passed;
}

}
