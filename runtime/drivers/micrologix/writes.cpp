#include "drivers/micrologix/micrologix.h"

#include "drivers/df1/addressing.h"
#include "drivers/micrologix/commands.h"
#include "drivers/micrologix/names.h"
#include "drivers/tools/conversions.h"

namespace {

const int BITS_PER_WORD = 16;
const int WORD_SIZE = 2;
const int MAX_WRITE_SIZE = 255;
const int MAX_ELEMENT = 65535;
const int NO_BIT = -1;

int mnemonicBit(const QByteArray& fileName, const QByteArray& mnemonic)
{
    switch (firstLetter(fileName)) {
    case 'T':
        return DF1GetT4MnemonicBitNum(mnemonic);
    case 'C':
        return DF1GetC5MnemonicBitNum(mnemonic);
    case 'R':
        return DF1GetR6MnemonicBitNum(mnemonic);
    default:
        return NO_BIT;
    }
}

}

bool DriverABMicroLogix::write(AbstractDeviceInterface* port, const CommunicatorCommand& command,
                               const QByteArray& data)
{
    for (int attempt = 0;; ++attempt) {
        beginAttempt(port);
        bool result = false;
        if (!writeOnce(port, command, data, result))
            return false;
        if (isLastAttempt(port, attempt))
            return result;
    }
}

/// False for a type that has no write.
bool DriverABMicroLogix::writeOnce(AbstractDeviceInterface* port,
                                   const CommunicatorCommand& command, const QByteArray& data,
                                   bool& result)
{
    switch (command.type) {
    case BIT:
        result = writeBit(port, command, data);
        return true;
    case BYTE:
    case WORD:
    case DOUBLE_WORD:
    case BLOCK:
        result = writeBytes(port, command.address, data);
        return true;
    default:
        return false;
    }
}

bool DriverABMicroLogix::writeBit(AbstractDeviceInterface* port, const CommunicatorCommand& command,
                                  const QByteArray& data)
{
    const QString& address = command.address;
    const QRegExp* match = &m_bitAddress;
    unsigned char subElement = 0;
    int bit = 0;
    if (m_bitAddress.indexIn(address) >= 0) {
        bit = bitOf(m_bitAddress, 3);
    } else if (m_mnemonicBitAddress.indexIn(address) >= 0) {
        match = &m_mnemonicBitAddress;
        bit = mnemonicBit(fileNameOf(*match), match->cap(3).toLatin1());
    } else if (m_subElementBitAddress.indexIn(address) >= 0) {
        match = &m_subElementBitAddress;
        subElement = DF1WordNameToSubElementNo(match->cap(3).toLatin1());
        bit = bitOf(*match, 4);
    } else {
        setCommError(QLatin1String("invalid bit address format"));
        return false;
    }

    // A read counts bits of 16 and more on into the following elements; a write
    // must reach the same one.
    const int element = elementOf(*match) + bit / BITS_PER_WORD;
    if (bit == NO_BIT || element > MAX_ELEMENT)
        return refuse(address);
    const QByteArray fileName = fileNameOf(*match);
    if (!canName(address, fileName))
        return false;
    const bool value = !data.isEmpty() && data.at(0) != 0;
    const unsigned char destination = static_cast<unsigned char>(port->destinationAddress());
    const unsigned char source = getSourceAddr(port);
    return runWriteTransaction(port, address,
                               DF1PackWriteBitCmd(fileName, destination, source, getNextTNS(),
                                                  static_cast<unsigned short>(element), subElement,
                                                  static_cast<unsigned char>(bit), value));
}

bool DriverABMicroLogix::writeBytes(AbstractDeviceInterface* port, const QString& address,
                                    const QByteArray& data)
{
    if (m_wordAddress.indexIn(address) >= 0) {
        const QByteArray fileName = fileNameOf(m_wordAddress);
        const unsigned short element = elementOf(m_wordAddress);
        return isThreeWordFile(fileName)
                   ? writeT4_C5_R6(port, address, fileName, element, To16bitsData(data))
                   : writeType1WordAddr(port, address, fileName, element, data);
    }
    if (m_subElementAddress.indexIn(address) >= 0)
        return writeType2WordAddr(
            port, address, fileNameOf(m_subElementAddress), elementOf(m_subElementAddress),
            DF1WordNameToSubElementNo(m_subElementAddress.cap(3).toLatin1()), To16bitsData(data));
    setCommError(QLatin1String("invalid bit address format"));
    return false;
}

bool DriverABMicroLogix::writeType1WordAddr(AbstractDeviceInterface* port, const QString& address,
                                            const QByteArray& fileName, unsigned short element,
                                            const QByteArray& data)
{
    // The size travels in one byte: the command would announce less than it brings.
    if (data.size() > MAX_WRITE_SIZE)
        return refuse(address);
    return writeCommand(port, address, fileName, element, 0, data);
}

bool DriverABMicroLogix::writeT4_C5_R6(AbstractDeviceInterface* port, const QString& address,
                                       const QByteArray& fileName, unsigned short element,
                                       const QByteArray& data)
{
    return writeType2WordAddr(port, address, fileName, element, 0, data);
}

/// One command a word, each to the same sub-element of the next element.
bool DriverABMicroLogix::writeType2WordAddr(AbstractDeviceInterface* port, const QString& address,
                                            const QByteArray& fileName, unsigned short element,
                                            unsigned char subElement, const QByteArray& data)
{
    for (int offset = 0; offset < data.size(); offset += WORD_SIZE) {
        if (!writeCommand(port, address, fileName, element, subElement,
                          data.mid(offset, WORD_SIZE)))
            return false;
        ++element;
    }
    return true;
}

bool DriverABMicroLogix::writeCommand(AbstractDeviceInterface* port, const QString& address,
                                      const QByteArray& fileName, unsigned short element,
                                      unsigned char subElement, const QByteArray& data)
{
    if (!canName(address, fileName))
        return false;
    const unsigned char destination = static_cast<unsigned char>(port->destinationAddress());
    const unsigned char source = getSourceAddr(port);
    return runWriteTransaction(port, address,
                               DF1PackWriteBytesCmd(fileName, destination, source, getNextTNS(),
                                                    element, subElement, data));
}
