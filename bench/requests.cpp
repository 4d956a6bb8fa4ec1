#include "requests.h"

#include <algorithm>
#include <cstring>

#include "drivers/df1/framing.h"

namespace bench {

namespace {

const int BIT = 0;
const int WORD = 2;
const unsigned char DLE = 0x10;
const unsigned char STX = 0x02;
const unsigned char ACK = 0x06;
const unsigned char TYPED_READ = 0xA2;

/// The byte at @p at, one of a doubled pair dropped; leaves @p at behind it.
unsigned char next(const unsigned char*& at)
{
    const unsigned char byte = *at++;
    if (byte == DLE)
        ++at;
    return byte;
}

unsigned char* put(unsigned char* at, unsigned char byte)
{
    *at++ = byte;
    if (byte == DLE)
        *at++ = byte;
    return at;
}

}

CommunicatorCommand command(int type, const char* address, int count)
{
    CommunicatorCommand command;
    command.type = type;
    command.address = QString::fromLatin1(address);
    command.count = count;
    return command;
}

std::vector<Request> requests()
{
    return {{"read10", false, command(WORD, "N7:0", 10), {}},
            {"readbit", false, command(BIT, "B3:2/5", 1), {}},
            {"writebit", true, command(BIT, "B3:2/5", 1), QByteArray(1, '\1')},
            {"write10", true, command(WORD, "N7:0", 10), QByteArray(20, '\7')}};
}

bool run(DriverInterface& driver, AbstractDeviceInterface& port, const Request& request)
{
    if (request.isWrite)
        return driver.write(&port, request.command, request.data);
    return !driver.read(&port, request.command).isEmpty();
}

int answerTo(const unsigned char* frame, unsigned char* answer)
{
    const unsigned char* at = frame + 2;
    const unsigned char destination = next(at);
    const unsigned char source = next(at);
    at += 2; // CMD, STS
    const unsigned char transaction[2] = {next(at), next(at)};
    const bool isRead = next(at) == TYPED_READ;
    const int dataBytes = isRead ? next(at) : 0;

    unsigned char message[LARGEST_ANSWER] = {source, destination,    0x4F,
                                             0,      transaction[0], transaction[1]};
    const int size = 6 + dataBytes;
    for (int i = 6; i < size; ++i)
        message[i] = static_cast<unsigned char>(0x40 + i);
    message[size] = DF1_DLE_ETX[1];
    const unsigned short crc = DF1CRC16(message, size + 1);

    unsigned char* out = answer;
    for (const unsigned char byte : {DLE, ACK, DLE, STX})
        *out++ = byte;
    for (int i = 0; i < size; ++i)
        out = put(out, message[i]);
    *out++ = DLE;
    *out++ = DF1_DLE_ETX[1];
    *out++ = static_cast<unsigned char>(crc);
    *out++ = static_cast<unsigned char>(crc >> 8);
    return static_cast<int>(out - answer);
}

int InstantPort::receiveData(unsigned char* buffer, int maxBytes)
{
    const int count = std::min(maxBytes, m_size - m_taken);
    std::memcpy(buffer, m_answer + m_taken, static_cast<size_t>(count));
    m_taken += count;
    return count;
}

void InstantPort::sendData(const unsigned char* data, int)
{
    if (data[1] != STX)
        return;
    m_size = answerTo(data, m_answer);
    m_taken = 0;
}

void InstantPort::getParameter(int, QVariant& value)
{
    value = m_size - m_taken;
}

void InstantPort::setParameter(int id, const QVariant&)
{
    if (id == PORT_PARAM_CLEAR_INPUT)
        m_taken = m_size;
}

}
