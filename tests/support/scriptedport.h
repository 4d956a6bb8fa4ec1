// A port that plays what a controller would put on the line and writes down
// every call that the driver makes.
#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>
#include <cstring>

#include "drivers/abstractdeviceinterface.h"

class ScriptedPort : public AbstractDeviceInterface
{
public:
    ScriptedPort()
        : retries(0)
        , delay(0)
        , destination(1)
        , source(0)
        , pendingRounds(0)
        , boast(0)
        , m_piece(0)
    {}

    /// What comes back after the next frame that has no answer yet. Each piece
    /// ends in silence: a call never returns bytes of two pieces.
    ScriptedPort& answer(const QList<QByteArray>& pieces)
    {
        m_answers.append(pieces);
        return *this;
    }

    ScriptedPort& answer(const QByteArray& bytes) { return answer(QList<QByteArray>() << bytes); }

    int receiveData(unsigned char* buffer, int maxBytes) override
    {
        QByteArray taken;
        if (m_piece < m_pieces.size()) {
            QByteArray& piece = m_pieces[m_piece];
            taken = piece.left(maxBytes);
            piece.remove(0, taken.size());
            if (piece.isEmpty())
                ++m_piece;
        }
        std::memcpy(buffer, taken.constData(), static_cast<size_t>(taken.size()));
        calls << QString::fromLatin1("receive %1: %2").arg(maxBytes).arg(text(taken));
        return boast != 0 ? boast : static_cast<int>(taken.size());
    }

    void sendData(const unsigned char* data, int length) override
    {
        const QByteArray bytes(reinterpret_cast<const char*>(data), length);
        sent.append(bytes);
        calls << QString::fromLatin1("send %1").arg(text(bytes));
        if (!bytes.startsWith("\x10\x02"))
            return;
        m_pieces = m_answers.isEmpty() ? QList<QByteArray>() : m_answers.takeFirst();
        m_piece = 0;
    }

    void getParameter(int id, QVariant& value) override
    {
        value = pendingRounds > 0 ? pendingRounds-- : 0;
        calls << QString::fromLatin1("get %1").arg(id);
    }

    void setParameter(int id, const QVariant& value) override
    {
        calls << QString::fromLatin1("set %1=%2").arg(id).arg(value.toInt());
    }

    int retryCount() override { return retries; }
    int destinationAddress() override { return destination; }
    int sourceAddress() override { return source; }

    unsigned int delayTime() override
    {
        calls << QString::fromLatin1("delay");
        return delay;
    }

    int retries;
    unsigned int delay;
    int destination;
    int source;
    int pendingRounds; ///< how often input is found pending before it is gone
    int boast;         ///< when not 0, what receiveData claims to have stored
    QList<QByteArray> sent;
    QStringList calls;

private:
    static QString text(const QByteArray& bytes) { return QString::fromLatin1(bytes.toHex()); }

    QList<QList<QByteArray>> m_answers;
    QList<QByteArray> m_pieces;
    int m_piece;
};
