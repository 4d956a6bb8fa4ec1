// The one exchange with the controller that every read and write runs.
//
// The receive buffer holds the link answer at 0-1, DLE STX at 2-3, the reply
// header DST SRC CMD STS TNS at 4-9 and the rest of the reply from 10, folded
// step by step as it comes in.
#include "drivers/micrologix/micrologix.h"

#include <cstring>

#include "drivers/df1/framing.h"
#include "drivers/tools/packing.h"

namespace {

const int REPLY_START = 4;
const int STATUS_POSITION = 7;
const int REPLY_DATA = 10;
const int HEADER_SIZE = REPLY_DATA - REPLY_START;
const int TRAILER_SIZE = 4;
const unsigned char DLE = 0x10;
const unsigned char REPLY_TO_TYPED_COMMAND = 0x4F;
const unsigned char STS_EXTENDED = 0xF0;

unsigned char* bytesAt(QByteArray& buffer, int position)
{
    return reinterpret_cast<unsigned char*>(buffer.data()) + position;
}

int roomAt(const QByteArray& buffer, int position)
{
    return static_cast<int>(buffer.size()) - position;
}

bool isPair(const unsigned char* bytes, const unsigned char* pair)
{
    return std::memcmp(bytes, pair, 2) == 0;
}

void sendAck(AbstractDeviceInterface* port)
{
    port->sendData(DF1_DLE_ACK, 2);
}

/// Receives at most @p count bytes. A port that claims to have stored more than
/// it was asked for is believed only as far as it was asked.
int receive(AbstractDeviceInterface* port, unsigned char* destination, int count)
{
    return qMin(port->receiveData(destination, count), count);
}

/// Silences a controller that goes on sending after an unexpected answer.
void DF1StopResponse(AbstractDeviceInterface* port)
{
    const int maxRounds = 100;
    for (int round = 0; round < maxRounds; ++round) {
        sendAck(port);
        qtcompat::sleepMilliseconds(3);
        QVariant pending;
        port->getParameter(PORT_PARAM_INPUT_PENDING, pending);
        if (pending.toInt() < 1)
            return;
        port->setParameter(PORT_PARAM_CLEAR_INPUT, QVariant(0));
    }
}

/// Whether the frame check over @p length bytes of the reply, from DST to the
/// second CRC byte, comes out even.
bool isSound(const QByteArray& buffer, int length)
{
    if (buffer.size() < REPLY_START + length)
        return false;
    const char* const reply = buffer.constData() + REPLY_START;
    return DF1CRC16(reinterpret_cast<const unsigned char*>(reply), length) == 0;
}

/// After DLE ENQ: acknowledges, then reads up to three pairs. The third is read
/// and dropped whatever it brings. The answer is left in @p pair.
bool awaitAnswerAfterEnq(AbstractDeviceInterface* port, unsigned char* pair,
                         bool (*isAnswer)(const unsigned char*))
{
    sendAck(port);
    for (int attempt = 1; attempt <= 3; ++attempt) {
        pair[0] = 0;
        pair[1] = 0;
        receive(port, pair, 2);
        if (attempt < 3 && isAnswer(pair))
            return true;
    }
    return false;
}

bool isAckOrNak(const unsigned char* pair)
{
    return isPair(pair, DF1_DLE_ACK) || isPair(pair, DF1_DLE_NAK);
}

bool isStx(const unsigned char* pair)
{
    return isPair(pair, DF1_DLE_STX);
}

QString requestCrcError(const QString& address)
{
    return QLatin1String("read ") + address + QLatin1String(":request CRC error");
}

QString responseCrcError(const QString& address)
{
    return QLatin1String("read ") + address + QLatin1String(":response CRC error");
}

}

bool DriverABMicroLogix::runReadTransaction(AbstractDeviceInterface* port, const QString& address,
                                            const QByteArray& frame, int dataBytes,
                                            QByteArray& data)
{
    if (!sendRequest(port, address, frame))
        return false;
    const int total = dataBytes + TRAILER_SIZE;
    const int n =
        readDataDleEtxCrc(port, bytesAt(m_buffer, REPLY_DATA), roomAt(m_buffer, REPLY_DATA),
                          static_cast<unsigned char>(dataBytes), total);
    if (!checkDataDleEtxCrc(address, m_buffer, total, n))
        return false;
    sendAck(port);
    data = m_buffer.mid(REPLY_DATA, dataBytes);
    return true;
}

bool DriverABMicroLogix::runWriteTransaction(AbstractDeviceInterface* port, const QString& address,
                                             const QByteArray& frame)
{
    if (!sendRequest(port, address, frame))
        return false;
    const int n = receive(port, bytesAt(m_buffer, REPLY_DATA), TRAILER_SIZE);
    if (!checkWriteRsp(address, m_buffer, n + REPLY_DATA))
        return false;
    sendAck(port);
    return true;
}

bool DriverABMicroLogix::sendRequest(AbstractDeviceInterface* port, const QString& address,
                                     const QByteArray& frame)
{
    port->setParameter(PORT_PARAM_CLEAR_INPUT, QVariant(0));
    m_buffer.fill('\0', ReceiveBufferSize);
    port->sendData(reinterpret_cast<const unsigned char*>(frame.constData()),
                   static_cast<int>(frame.size()));

    if (!readDleAck(port, bytesAt(m_buffer, 0), address) || !readDleStx(port, bytesAt(m_buffer, 2)))
        return false;
    const int n = readMinReadRsp(port, bytesAt(m_buffer, REPLY_START),
                                 roomAt(m_buffer, REPLY_START), HEADER_SIZE);
    return checkMinReadRsp(port, m_buffer, n) && checkSts(port, address, m_buffer, REPLY_DATA);
}

bool DriverABMicroLogix::receivePair(AbstractDeviceInterface* port, unsigned char* pair)
{
    const int n = receive(port, pair, 2);
    if (n == 2)
        return true;
    setCommError(n == 0 ? QLatin1String("PLC no response") : QLatin1String("packet loss"));
    return false;
}

bool DriverABMicroLogix::readDleAck(AbstractDeviceInterface* port, unsigned char* pair,
                                    const QString& address)
{
    if (!receivePair(port, pair))
        return false;
    if (isPair(pair, DF1_DLE_ENQ)) {
        if (!awaitAnswerAfterEnq(port, pair, isAckOrNak)) {
            setCommError(QLatin1String("PLC no ack"));
            return false;
        }
    }
    if (isPair(pair, DF1_DLE_ACK))
        return true;
    if (isPair(pair, DF1_DLE_NAK)) {
        setCommError(requestCrcError(address));
        return false;
    }
    setCommError(QLatin1String("invalid PLC response"));
    DF1StopResponse(port);
    return false;
}

bool DriverABMicroLogix::readDleStx(AbstractDeviceInterface* port, unsigned char* pair)
{
    if (!receivePair(port, pair))
        return false;
    if (isPair(pair, DF1_DLE_ENQ)) {
        if (!awaitAnswerAfterEnq(port, pair, isStx)) {
            setCommError(QLatin1String("PLC no ack"));
            return false;
        }
    }
    if (isStx(pair))
        return true;
    setCommError(QLatin1String("invalid response from PLC3"));
    DF1StopResponse(port);
    return false;
}

int DriverABMicroLogix::readMinReadRsp(AbstractDeviceInterface* port, unsigned char* destination,
                                       int room, int wanted)
{
    if (wanted < 1 || wanted >= room)
        return 0;
    int stored = 0;
    int decoded = 0;
    int scanned = 0;
    int asked = wanted;
    do {
        const int n = receive(port, destination + stored, asked);
        if (n <= 0)
            return decoded;
        stored += n;
        if (n < asked)
            return stored;
        decoded += DF1CountEscapedDLEData(destination, stored, scanned);
        asked = wanted - decoded;
    } while (decoded < wanted && stored + asked < room);
    return stored;
}

bool DriverABMicroLogix::checkMinReadRsp(AbstractDeviceInterface* port, QByteArray& buffer, int n)
{
    if (n < HEADER_SIZE) {
        setCommError(QLatin1String("packet loss"));
        return false;
    }
    const char* const header = buffer.constData() + REPLY_START;
    if (!DF1CheckEscapedDLEData(reinterpret_cast<const unsigned char*>(header), n)) {
        setCommError(QLatin1String("invalid response from PLC1"));
        DF1StopResponse(port);
        return false;
    }
    DF1FoldDLE(buffer, REPLY_START, REPLY_START + n);

    unsigned char start[2] = {0, 0};
    unsigned char destination = 0;
    unsigned char source = 0;
    unsigned char command = 0;
    unsigned short transaction = 0;
    DataUnpack(reinterpret_cast<const unsigned char*>(buffer.constData()), "xxCCCCCxv", &start[0],
               &start[1], &destination, &source, &command, &transaction);
    if (isStx(start) && destination == getSourceAddr(port) && source == port->destinationAddress()
        && command == REPLY_TO_TYPED_COMMAND && transaction == getTNS())
        return true;
    setCommError(QLatin1String("invalid response from PLC"));
    DF1StopResponse(port);
    return false;
}

bool DriverABMicroLogix::checkSts(AbstractDeviceInterface* port, const QString& address,
                                  QByteArray& buffer, int position)
{
    const unsigned char status = static_cast<unsigned char>(buffer.at(STATUS_POSITION));
    if (status == 0)
        return true;

    int dle = position;
    if (status == STS_EXTENDED) {
        unsigned char* const extended = bytesAt(buffer, position);
        readExtStsDleEtxCrc(port, extended);
        if (extended[0] == DLE && extended[1] == DLE)
            buffer.remove(position, 1);
        ++dle;
    } else if (receive(port, bytesAt(buffer, position), TRAILER_SIZE) < TRAILER_SIZE) {
        setCommError(QLatin1String("packet loss"));
        return false;
    }
    buffer.remove(dle, 1);

    if (!isSound(buffer, dle + TRAILER_SIZE - 1 - REPLY_START)) {
        setCommError(responseCrcError(address));
        return false;
    }
    sendAck(port);
    setCommError(QLatin1String("invalid address:") + address);
    return false;
}

int DriverABMicroLogix::readExtStsDleEtxCrc(AbstractDeviceInterface* port,
                                            unsigned char* destination)
{
    return readDataDleEtxCrc(port, destination, roomAt(m_buffer, REPLY_DATA), 1, 1 + TRAILER_SIZE);
}

int DriverABMicroLogix::readDataDleEtxCrc(AbstractDeviceInterface* port, unsigned char* destination,
                                          int room, unsigned char dataBytes, int total)
{
    if (total < 1)
        return 0;
    int stored = 0;
    int decoded = 0; // data bytes, a DLE pair counted once
    int scanned = 0; // raw bytes that those data bytes take
    int asked = total;
    while (asked > 0) {
        if (stored + asked > room)
            return stored;
        const int n = receive(port, destination + stored, asked);
        if (n <= 0)
            return decoded + (decoded == dataBytes ? stored - scanned : 0);
        stored += n;
        if (n < asked)
            return stored;
        decoded += DF1CountEscapedDLEData(destination, dataBytes - decoded, stored, scanned);
        const int trailer = decoded == dataBytes ? stored - scanned : 0;
        asked = dataBytes - decoded + TRAILER_SIZE - trailer;
    }
    return stored;
}

bool DriverABMicroLogix::checkDataDleEtxCrc(const QString& address, QByteArray& buffer, int total,
                                            int n)
{
    if (n < total) {
        setCommError(QLatin1String("packet loss"));
        return false;
    }
    DF1FoldDLE(buffer, REPLY_DATA, REPLY_DATA + n - TRAILER_SIZE);
    buffer.remove(total + HEADER_SIZE, 1);
    if (isSound(buffer, HEADER_SIZE + total - 1))
        return true;
    setCommError(responseCrcError(address));
    return false;
}

bool DriverABMicroLogix::checkWriteRsp(const QString& address, QByteArray& buffer, int n)
{
    if (n <= REPLY_DATA + 1) {
        setCommError(QLatin1String("packet loss"));
        return false;
    }
    // Of a trailer cut short nothing can be told; zeros in its place might come out even.
    const bool isWhole = n == REPLY_DATA + TRAILER_SIZE;
    buffer.remove(n - TRAILER_SIZE, 1);
    if (isWhole && isSound(buffer, HEADER_SIZE + TRAILER_SIZE - 1))
        return true;
    setCommError(responseCrcError(address));
    return false;
}
