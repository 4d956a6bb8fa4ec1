#include "drivers/micrologix/micrologix.h"

#include "drivers/df1/addressing.h"
#include "drivers/micrologix/commands.h"
#include "drivers/micrologix/elements.h"
#include "drivers/micrologix/names.h"
#include "drivers/tools/conversions.h"

namespace {

const int BITS_PER_WORD = 16;
const int WORD_SIZE = 2;
const int FLOAT_SIZE = 4;
const int ELEMENT_SIZE = 6;
const int MAX_READ_SIZE = 255;

// Rounded up. A negative count comes out larger than any request can carry.
int wordsHolding(int bytes)
{
    return static_cast<int>(NumOfBytesToNumOfWords(static_cast<quint32>(bytes)));
}

int floatsHolding(int bytes)
{
    return static_cast<int>(NumOfBytesToNumOfDWords(static_cast<quint32>(bytes)));
}

qint64 sizeOf(int count, int unitSize)
{
    return static_cast<qint64>(count) * unitSize;
}

/// Bytes of the units that hold bits @p bit to @p bit + @p count - 1, 16 of them
/// a unit; negative for a negative count.
qint64 sizeHoldingBits(int bit, int count, int unitSize)
{
    const qint64 end = static_cast<qint64>(bit) + count;
    return count < 0 ? -1 : (end + BITS_PER_WORD - 1) / BITS_PER_WORD * unitSize;
}

/// Twice the count, or as many words as no request can carry.
int wordsIn(int doubleWords)
{
    return qBound(-1, doubleWords, MAX_READ_SIZE) * 2;
}

void cutTo(QByteArray& data, int size)
{
    if (!data.isEmpty())
        data.resize(size);
}

const unsigned char* bytesOf(const QByteArray& image)
{
    return reinterpret_cast<const unsigned char*>(image.constData());
}

}

QByteArray DriverABMicroLogix::read(AbstractDeviceInterface* port,
                                    const CommunicatorCommand& command)
{
    for (int attempt = 0;; ++attempt) {
        beginAttempt(port);
        QByteArray result;
        if (!readOnce(port, command, result))
            return QByteArray();
        if (isLastAttempt(port, attempt))
            return result;
    }
}

/// False for a type that has no read.
bool DriverABMicroLogix::readOnce(AbstractDeviceInterface* port, const CommunicatorCommand& command,
                                  QByteArray& result)
{
    const QString& address = command.address;
    const bool isFloat = firstLetter(address) == 'F';
    switch (command.type) {
    case BIT:
    case BIT_TOO:
        result = readBits(port, command);
        return true;
    case BYTE:
    case BLOCK:
        result = isFloat ? readFloats(port, address, floatsHolding(command.count))
                         : readWords(port, address, wordsHolding(command.count));
        cutTo(result, command.count);
        return true;
    case WORD: {
        if (!isFloat) {
            result = readWords(port, address, command.count);
            return true;
        }
        const int size = command.getDataSize();
        result = readFloats(port, address, floatsHolding(size));
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

    const QByteArray fileName = fileNameOf(m_wordAddress);
    const unsigned short element = elementOf(m_wordAddress);
    QByteArray image;
    if (!isThreeWordFile(fileName)) {
        readImage(port, address, fileName, element, sizeOf(count, WORD_SIZE), image);
        return image;
    }
    if (!readImage(port, address, fileName, element, sizeOf(count, ELEMENT_SIZE), image))
        return QByteArray();
    return DF1Get_T4_C5_R6_Controls(bytesOf(image), static_cast<unsigned short>(count));
}

QByteArray DriverABMicroLogix::readNamedWords(AbstractDeviceInterface* port, const QString& address,
                                              int count)
{
    if (m_subElementAddress.indexIn(address) < 0) {
        setCommError(QLatin1String("invalid address format"));
        return QByteArray();
    }
    const QByteArray fileName = fileNameOf(m_subElementAddress);
    QByteArray image;
    if (!readImage(port, address, fileName, elementOf(m_subElementAddress),
                   sizeOf(count, ELEMENT_SIZE), image))
        return QByteArray();
    if (!isThreeWordFile(fileName)) {
        setCommError(QLatin1String("invalid bit address format"));
        return QByteArray();
    }
    const QByteArray wordName = m_subElementAddress.cap(3).toLatin1();
    const unsigned short elements = static_cast<unsigned short>(count);
    return namesPreset(fileName, wordName) ? DF1Get_T4_C5_PREs(bytesOf(image), elements)
                                           : DF1Get_T4_C5_ACCs(bytesOf(image), elements);
}

QByteArray DriverABMicroLogix::readFloats(AbstractDeviceInterface* port, const QString& address,
                                          int count)
{
    if (m_wordAddress.indexIn(address) < 0) {
        setCommError(QLatin1String("invalid address format"));
        return QByteArray();
    }
    QByteArray image;
    readImage(port, address, fileNameOf(m_wordAddress), elementOf(m_wordAddress),
              sizeOf(count, FLOAT_SIZE), image);
    return image;
}

QByteArray DriverABMicroLogix::readBits(AbstractDeviceInterface* port,
                                        const CommunicatorCommand& command)
{
    const QString& address = command.address;
    if (m_bitAddress.indexIn(address) >= 0) {
        const QByteArray fileName = fileNameOf(m_bitAddress);
        const unsigned short element = elementOf(m_bitAddress);
        const unsigned char bit = bitOf(m_bitAddress, 3);
        return isThreeWordFile(fileName)
                   ? readT4_C5_R6Bits(port, address, fileName, element, bit, command.count)
                   : readO_I_S2_B3_N7_Bits(port, address, fileName, element, bit, command.count);
    }
    if (m_mnemonicBitAddress.indexIn(address) >= 0)
        return readType2BitAddr(port, address, fileNameOf(m_mnemonicBitAddress),
                                elementOf(m_mnemonicBitAddress),
                                m_mnemonicBitAddress.cap(3).toLatin1(), command.count);
    if (m_subElementBitAddress.indexIn(address) >= 0)
        return readType3BitAddr(port, address, fileNameOf(m_subElementBitAddress),
                                elementOf(m_subElementBitAddress),
                                m_subElementBitAddress.cap(3).toLatin1(),
                                bitOf(m_subElementBitAddress, 4), command.count);
    setCommError(QLatin1String("invalid bit address format"));
    return QByteArray();
}

QByteArray DriverABMicroLogix::readO_I_S2_B3_N7_Bits(AbstractDeviceInterface* port,
                                                     const QString& address,
                                                     const QByteArray& fileName,
                                                     unsigned short element, unsigned short bit,
                                                     int count)
{
    QByteArray image;
    if (!readImage(port, address, fileName, element, sizeHoldingBits(bit, count, WORD_SIZE), image))
        return QByteArray();
    QByteArray bits(static_cast<int>(NumOfBitsToNumOfBytes(bit, static_cast<quint32>(count))),
                    '\0');
    for (int i = 0; i < count; ++i)
        setBit(bits, i, getBit(image, bit + i));
    return bits;
}

QByteArray DriverABMicroLogix::readT4_C5_R6Bits(AbstractDeviceInterface* port,
                                                const QString& address, const QByteArray& fileName,
                                                unsigned short element, unsigned char bit,
                                                int count)
{
    QByteArray image;
    if (!readImage(port, address, fileName, element, sizeHoldingBits(bit, count, ELEMENT_SIZE),
                   image))
        return QByteArray();
    return DF1ExtractT4_C5_R6_Bits(bytesOf(image), bit, count);
}

QByteArray DriverABMicroLogix::readType2BitAddr(AbstractDeviceInterface* port,
                                                const QString& address, const QByteArray& fileName,
                                                unsigned short element, const QByteArray& mnemonic,
                                                int count)
{
    QByteArray image;
    if (!readImage(port, address, fileName, element, sizeOf(count, ELEMENT_SIZE), image))
        return QByteArray();
    switch (firstLetter(fileName)) {
    case 'T':
        return DF1ExtractT4_MnemonicBits(bytesOf(image), mnemonic, count);
    case 'C':
        return DF1ExtractC5_MnemonicBits(bytesOf(image), mnemonic, count);
    case 'R':
        return DF1ExtractR6_Mnemonic_Bits(bytesOf(image), mnemonic, count);
    default:
        setCommError(QLatin1String("invalid bit address format"));
        return QByteArray();
    }
}

QByteArray DriverABMicroLogix::readType3BitAddr(AbstractDeviceInterface* port,
                                                const QString& address, const QByteArray& fileName,
                                                unsigned short element, const QByteArray& wordName,
                                                unsigned char bit, int count)
{
    QByteArray image;
    if (!readImage(port, address, fileName, element, sizeHoldingBits(bit, count, ELEMENT_SIZE),
                   image))
        return QByteArray();
    if (!isThreeWordFile(fileName)) {
        setCommError(QLatin1String("invalid bit address format"));
        return QByteArray();
    }
    return namesPreset(fileName, wordName) ? DF1ExtractT4_PRE_Bits(bytesOf(image), bit, count)
                                           : DF1ExtractT4_ACC_Bits(bytesOf(image), bit, count);
}

/// Reads @p size bytes from @p element on: the data part of the reply, whole
/// elements as the controller sends them. Every read goes through here.
bool DriverABMicroLogix::readImage(AbstractDeviceInterface* port, const QString& address,
                                   const QByteArray& fileName, unsigned short element, qint64 size,
                                   QByteArray& image)
{
    // The size travels in one byte: a larger one would come back short.
    if (size < 0 || size > MAX_READ_SIZE)
        return refuse(address);
    if (!canName(address, fileName))
        return false;
    const unsigned char destination = static_cast<unsigned char>(port->destinationAddress());
    const unsigned char source = getSourceAddr(port);
    const QByteArray frame = DF1PackReadBytesCmd(fileName, destination, source, getNextTNS(),
                                                 element, static_cast<unsigned short>(size));
    return runReadTransaction(port, address, frame, static_cast<int>(size), image);
}
