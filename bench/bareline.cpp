#include "bareline.h"

#include <QFile>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "drivers/df1/framing.h"

namespace bench {

namespace {

const int PATIENCE_MS = 5000;
const QByteArray DLE_ACK = QByteArrayLiteral("\x10\x06");

[[noreturn]] void fail(const char* what)
{
    std::perror(what);
    std::_Exit(1);
}

QByteArray readOf(int words, char transaction)
{
    QByteArray request = QByteArray::fromHex("01000f00007fa20007890000");
    request[4] = transaction;
    request[7] = static_cast<char>(2 * words);
    DF1ToDataLinkLayerPacket(request);
    return request;
}

void send(int line, const QByteArray& bytes)
{
    if (::write(line, bytes.constData(), static_cast<size_t>(bytes.size())) != bytes.size())
        fail("bare line: writing");
}

}

BareLine::BareLine(const QString& path, int words)
    : m_line(::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK))
    , m_answerSize(14 + 2 * words)
    , m_requests{readOf(words, 1), readOf(words, 2)}
{
    if (m_line < 0)
        fail("bare line: opening");
}

BareLine::~BareLine()
{
    ::close(m_line);
}

void BareLine::read()
{
    send(m_line, m_requests[m_next]);
    m_next = 1 - m_next;
    for (int got = 0; got < m_answerSize;) {
        char answer[512];
        pollfd ready = {m_line, POLLIN, 0};
        if (::poll(&ready, 1, PATIENCE_MS) != 1)
            fail("bare line: waiting");
        const ssize_t count = ::read(m_line, answer, sizeof answer);
        if (count <= 0)
            fail("bare line: reading");
        got += static_cast<int>(count);
    }
    send(m_line, DLE_ACK);
}

int BareLine::bytes() const
{
    return static_cast<int>(m_requests[0].size()) + m_answerSize + static_cast<int>(DLE_ACK.size());
}

}
