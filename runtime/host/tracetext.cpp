#include "host/tracetext.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QStringList>

#include "host/wording.h"

namespace host {

namespace {

const qint64 MICROSECONDS_PER_SECOND = 1000000;

QString timeText(TimePoint time)
{
    const qint64 microseconds = time.time_since_epoch().count();
    const QDateTime seconds =
        QDateTime::fromSecsSinceEpoch(microseconds / MICROSECONDS_PER_SECOND, Qt::UTC);
    return seconds.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss."))
           + QStringLiteral("%1Z").arg(microseconds % MICROSECONDS_PER_SECOND, 6, 10,
                                       QLatin1Char('0'));
}

/// Of any text, a part that does a terminal no harm.
QString printableStart(const QString& text)
{
    QString start = text.left(40);
    for (QChar& character : start) {
        if (!character.isPrint())
            character = QLatin1Char('?');
    }
    return start;
}

/// Nothing when there is no such time, such as on 30 February.
std::optional<TimePoint> timeOf(const QString& seconds, const QString& microseconds)
{
    const QDateTime time = QDateTime::fromString(seconds + QLatin1Char('Z'), Qt::ISODate);
    if (!time.isValid())
        return std::nullopt;
    return TimePoint(std::chrono::microseconds(time.toSecsSinceEpoch() * MICROSECONDS_PER_SECOND
                                               + microseconds.toLongLong()));
}

}

QString traceLine(const Sighting& sighting, Narrator& narrator)
{
    QString line = timeText(sighting.time)
                   + QLatin1String(sighting.direction == Direction::Sent ? " > " : " < ")
                   + narrator.words(sighting.token);
    if (sighting.isDiscarded)
        line += QStringLiteral(" (discarded)");
    if (!sighting.token.raw.isEmpty())
        line += QStringLiteral(" [%1]").arg(hexText(sighting.token.raw));
    return line;
}

std::optional<Record> readTraceLine(const QString& line)
{
    static const QRegularExpression pattern(
        QStringLiteral("^\\s*(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d)\\.(\\d{6})Z ([<>]) "
                       "(?:silence[^\\[]*|[^\\[]*?( inside a frame)?( \\(discarded\\))? "
                       "\\[([0-9A-Fa-f]{2}(?: [0-9A-Fa-f]{2})*)\\])\\s*$"));
    const QRegularExpressionMatch match = pattern.match(line);
    if (!match.hasMatch())
        return std::nullopt;
    const std::optional<TimePoint> time = timeOf(match.captured(1), match.captured(2));
    if (!time)
        return std::nullopt;
    Record record;
    record.direction =
        match.captured(3) == QLatin1String(">") ? Direction::Sent : Direction::Received;
    record.time = *time;
    record.isEmbedded = !match.captured(4).isEmpty();
    record.isDiscarded = !match.captured(5).isEmpty();
    record.bytes = QByteArray::fromHex(match.captured(6).toLatin1());
    return record;
}

std::optional<QByteArray> readHex(const QString& text, QString* error)
{
    static const QRegularExpression between(QStringLiteral("[\\s|,:]+"));
    static const QRegularExpression bytes(QStringLiteral("^(?:0[xX])?((?:[0-9A-Fa-f]{2})+)$"));
    QByteArray result;
    const QStringList groups =
        text.section(QLatin1Char('#'), 0, 0).split(between, Qt::SkipEmptyParts);
    for (const QString& group : groups) {
        const QRegularExpressionMatch match = bytes.match(group);
        if (!match.hasMatch()) {
            *error = QStringLiteral("'%1' is not hexadecimal; give two digits a byte, such as "
                                    "10 02 01 00 0F 00, or a line of a trace")
                         .arg(printableStart(group));
            return std::nullopt;
        }
        result += QByteArray::fromHex(match.captured(1).toLatin1());
    }
    return result;
}

}
