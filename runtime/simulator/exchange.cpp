#include "simulator/exchange.h"

#include "simulator/datatables.h"
#include "simulator/request.h"

namespace simulator {

namespace {

constexpr int headerSize = 6;

QString hexByte(const QByteArray& bytes, int at)
{
    return QString("%1").arg(static_cast<quint8>(bytes.at(at)), 2, 16, QLatin1Char('0')).toUpper();
}

QString addressText(const Area& area)
{
    const auto& [file, code, element, subElement] = area.address;
    const auto type = fileTypeOf(code.value_or(0));
    const char letter = type ? fileLetter(*type) : '?';
    QString text = QString("%1%2:%3").arg(letter).arg(file).arg(element);
    if (subElement != 0)
        text += QString(".%1").arg(subElement);
    return QString("%1 %2 bytes").arg(text).arg(area.size);
}

QString requestText(const QByteArray& request)
{
    constexpr quint8 typed = 0x0F;
    QString text = hexByte(request, 2);
    if (request.size() <= headerSize)
        return text;
    const auto function = static_cast<quint8>(request.at(headerSize));
    text += ' ' + hexByte(request, headerSize);
    const bool hasSubElement = function == 0xA2 || function == 0xAA || function == 0xAB;
    if (static_cast<quint8>(request.at(2)) != typed
        || (!hasSubElement && function != 0xA1 && function != 0xA9))
        return text;
    RequestFields fields(request.mid(headerSize + 1));
    const auto area = fields.typedArea(hasSubElement);
    return area ? text + ' ' + addressText(*area) : text;
}

QString replyText(const QByteArray& reply)
{
    if (reply.size() < headerSize)
        return "no reply";
    const QString status = "STS " + hexByte(reply, 3);
    const bool isExtended = static_cast<quint8>(reply.at(3)) == status::Extended;
    return isExtended && reply.size() > headerSize ? status + ' ' + hexByte(reply, headerSize)
                                                   : status;
}

}

QString textOf(const Exchange& exchange)
{
    QString text = QString("%1 %2 %3 ms")
                       .arg(requestText(exchange.request), replyText(exchange.reply),
                            QString::number(exchange.milliseconds, 'f', 1));
    if (!exchange.faults.isEmpty())
        text += ' ' + exchange.faults.join('+');
    return text;
}

}
