#include "drivers/micrologix/micrologix.h"

#include "drivers/micrologix/commands.h"
#include "drivers/micrologix/elements.h"

namespace {

const int WORD_SIZE = 2;
const int FLOAT_SIZE = 4;
const int ELEMENT_SIZE = 6;
const int MAX_READ_SIZE = 255;

enum RequestType
{
    BIT = 0,
    BYTE = 1,
    WORD = 2,
    DOUBLE_WORD = 3,
    BLOCK = 5,
    BIT_TOO = 6
};

/// Units of @p unitSize bytes that hold @p bytes bytes, the last one in part;
/// negative for a number of bytes that no request can carry.
int unitsHolding(int bytes, int unitSize)
{
    return bytes <= 0 ? bytes : (bytes - 1) / unitSize + 1;
}

void cutTo(QByteArray& data, int size)
{
    if (!data.isEmpty())
        data.resize(size);
}

/// Twice the count, or as many words as no request can carry.
int wordsIn(int doubleWords)
{
    return doubleWords > MAX_READ_SIZE ? doubleWords : doubleWords < 0 ? -1 : doubleWords * 2;
}

QChar firstLetter(const QString& text)
{
    return text.isEmpty() ? QChar() : text.at(0).toUpper();
}

bool isThreeWordFile(const QString& fileName)
{
    const QChar letter = firstLetter(fileName);
    return letter == QLatin1Char('T') || letter == QLatin1Char('C') || letter == QLatin1Char('R');
}

bool nameBeginsWith(const QString& name, const char* key)
{
    return name.startsWith(QLatin1String(key), Qt::CaseInsensitive);
}

}

QByteArray DriverABMicroLogix::read(AbstractDeviceInterface* port,
                                    const CommunicatorCommand& command)
{
    for (int attempt = 0;; ++attempt) {
        qtcompat::sleepMilliseconds(port->delayTime());
        clearError();
        QByteArray result;
        if (!readOnce(port, command, result))
            return QByteArray();
        if (!hasError() || attempt >= port->retryCount())
            return result;
    }
}

/// False for a type that has no read.
bool DriverABMicroLogix::readOnce(AbstractDeviceInterface* port, const CommunicatorCommand& command,
                                  QByteArray& result)
{
    const QString& address = command.address;
    const bool isFloat = firstLetter(address) == QLatin1Char('F');
    switch (command.type) {
    case BIT:
    case BIT_TOO:
        // Bit requests are not carried yet; a silent empty result would pass for data.
        setCommError(QLatin1String("invalid address:") + address);
        return true;
    case BYTE:
    case BLOCK:
        result = isFloat ? readFloats(port, address, unitsHolding(command.count, FLOAT_SIZE))
                         : readWords(port, address, unitsHolding(command.count, WORD_SIZE));
        cutTo(result, command.count);
        return true;
    case WORD: {
        if (!isFloat) {
            result = readWords(port, address, command.count);
            return true;
        }
        const int size = command.getDataSize();
        result = readFloats(port, address, unitsHolding(size, FLOAT_SIZE));
        cutTo(result, size);
        return true;
    }
    case DOUBLE_WORD:
        result = isFloat ? readFloats(port, address, command.count)
                         : readWords(port, address, wordsIn(command.count));
        return true;
    default:
        return false;
    }
}

QByteArray DriverABMicroLogix::readWords(AbstractDeviceInterface* port, const QString& address,
                                         int count)
{
    if (m_wordAddress.indexIn(address) < 0)
        return readNamedWords(port, address, count);

    QByteArray image;
    if (!isThreeWordFile(m_wordAddress.cap(1))) {
        readImage(port, address, m_wordAddress, WORD_SIZE, count, image);
        return image;
    }
    if (!readImage(port, address, m_wordAddress, ELEMENT_SIZE, count, image))
        return QByteArray();
    return DF1Get_T4_C5_R6_Controls(reinterpret_cast<const unsigned char*>(image.constData()),
                                    static_cast<unsigned short>(count));
}

QByteArray DriverABMicroLogix::readNamedWords(AbstractDeviceInterface* port, const QString& address,
                                              int count)
{
    if (m_subElementAddress.indexIn(address) < 0) {
        setCommError(QLatin1String("invalid address format"));
        return QByteArray();
    }
    QByteArray image;
    if (!readImage(port, address, m_subElementAddress, ELEMENT_SIZE, count, image))
        return QByteArray();
    const QString fileName = m_subElementAddress.cap(1);
    if (!isThreeWordFile(fileName)) {
        setCommError(QLatin1String("invalid bit address format"));
        return QByteArray();
    }
    const bool isControl = firstLetter(fileName) == QLatin1Char('R');
    const bool isPreset = nameBeginsWith(m_subElementAddress.cap(3), isControl ? "LEN" : "PRE");
    const unsigned char* const elements = reinterpret_cast<const unsigned char*>(image.constData());
    const unsigned short elementCount = static_cast<unsigned short>(count);
    return isPreset ? DF1Get_T4_C5_PREs(elements, elementCount)
                    : DF1Get_T4_C5_ACCs(elements, elementCount);
}

QByteArray DriverABMicroLogix::readFloats(AbstractDeviceInterface* port, const QString& address,
                                          int count)
{
    if (m_wordAddress.indexIn(address) < 0) {
        setCommError(QLatin1String("invalid address format"));
        return QByteArray();
    }
    QByteArray image;
    readImage(port, address, m_wordAddress, FLOAT_SIZE, count, image);
    return image;
}

/// Reads @p count elements of @p elementSize bytes at the address that @p match
/// has matched (file name and element in captures 1 and 2).
bool DriverABMicroLogix::readImage(AbstractDeviceInterface* port, const QString& address,
                                   const QRegExp& match, int elementSize, int count,
                                   QByteArray& image)
{
    // The size travels in one byte: a larger one would come back short.
    const qint64 size = static_cast<qint64>(elementSize) * count;
    if (size < 0 || size > MAX_READ_SIZE) {
        setCommError(QLatin1String("invalid address:") + address);
        return false;
    }
    const QByteArray fileName = match.cap(1).toLatin1();
    const unsigned short element = static_cast<unsigned short>(match.cap(2).toUInt());
    const unsigned char destination = static_cast<unsigned char>(port->destinationAddress());
    const unsigned char source = getSourceAddr(port);
    const QByteArray frame = DF1PackReadBytesCmd(fileName, destination, source, getNextTNS(),
                                                 element, static_cast<unsigned short>(size));
    if (!runReadTransaction(port, address, frame, static_cast<int>(size)))
        return false;
    image = m_buffer.mid(10, static_cast<int>(size));
    return true;
}
