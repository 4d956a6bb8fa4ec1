#include "host/linesettings.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

namespace host {

namespace {

const int MinBaudRate = 50;
const int MaxBaudRate = 4000000;

const struct
{
    const char* name;
    QSerialPort::Parity parity;
} parities[] = {{"NONE", QSerialPort::NoParity},
                {"EVEN", QSerialPort::EvenParity},
                {"ODD", QSerialPort::OddParity},
                {"MARK", QSerialPort::MarkParity},
                {"SPACE", QSerialPort::SpaceParity}};

bool readParity(const QString& text, QSerialPort::Parity* parity)
{
    const auto* const found =
        std::find_if(std::begin(parities), std::end(parities), [&text](const auto& entry) {
            return text.compare(QLatin1String(entry.name), Qt::CaseInsensitive) == 0;
        });
    if (found == std::end(parities))
        return false;
    *parity = found->parity;
    return true;
}

QString parityName(QSerialPort::Parity parity)
{
    const auto* const found =
        std::find_if(std::begin(parities), std::end(parities),
                     [parity](const auto& entry) { return entry.parity == parity; });
    return QString::fromLatin1(found == std::end(parities) ? "UNKNOWN" : found->name);
}

bool readNumber(const QString& text, int lowest, int highest, int* number)
{
    bool ok = false;
    *number = text.toInt(&ok);
    return ok && *number >= lowest && *number <= highest;
}

/// What is wrong with the settings in @p fields; empty when nothing is.
QString readFields(const QStringList& fields, LineSettings* settings)
{
    if (fields.size() != 4)
        return QStringLiteral("%1 values instead of four").arg(fields.size());

    int baudRate = 0;
    int dataBits = 0;
    int stopBits = 0;
    if (!readNumber(fields[0], MinBaudRate, MaxBaudRate, &baudRate))
        return QStringLiteral("baud rate '%1' is not a number from %2 to %3")
            .arg(fields[0])
            .arg(MinBaudRate)
            .arg(MaxBaudRate);
    if (!readParity(fields[1], &settings->parity))
        return QStringLiteral("parity '%1' is not NONE, EVEN, ODD, MARK or SPACE").arg(fields[1]);
    if (!readNumber(fields[2], QSerialPort::Data5, QSerialPort::Data8, &dataBits))
        return QStringLiteral("data bits '%1' is not 5, 6, 7 or 8").arg(fields[2]);
    if (!readNumber(fields[3], 1, 2, &stopBits))
        return QStringLiteral("stop bits '%1' is not 1 or 2").arg(fields[3]);

    settings->baudRate = baudRate;
    settings->dataBits = static_cast<QSerialPort::DataBits>(dataBits);
    settings->stopBits = stopBits == 1 ? QSerialPort::OneStop : QSerialPort::TwoStop;
    return QString();
}

}

std::optional<LineSettings> LineSettings::parse(const QString& text, QString* error)
{
    QStringList fields = text.split(QLatin1Char(','));
    for (QString& field : fields)
        field = field.trimmed();

    LineSettings settings;
    const QString fault = readFields(fields, &settings);
    if (fault.isEmpty())
        return settings;
    if (error != nullptr)
        *error = QStringLiteral("bad line settings '%1': %2; give baud rate, parity, data bits and "
                                "stop bits, such as 19200,NONE,8,1")
                     .arg(text, fault);
    return std::nullopt;
}

QString LineSettings::toText() const
{
    return QStringLiteral("%1,%2,%3,%4")
        .arg(baudRate)
        .arg(parityName(parity))
        .arg(static_cast<int>(dataBits))
        .arg(stopBits == QSerialPort::TwoStop ? 2 : 1);
}

double LineSettings::secondsPerByte() const
{
    const int startBits = 1;
    const int parityBits = parity == QSerialPort::NoParity ? 0 : 1;
    const int stops = stopBits == QSerialPort::TwoStop ? 2 : 1;
    return static_cast<double>(startBits + dataBits + parityBits + stops) / baudRate;
}

}
