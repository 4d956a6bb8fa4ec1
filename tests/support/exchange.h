// What a request puts on the line and what station 1 answers to station 0.
#pragma once

#include "support/frames.h"
#include "support/requests.h"
#include "support/scriptedport.h"

inline QByteArray numbered(const char* header, int tns)
{
    return hex(header) + static_cast<char>(tns) + static_cast<char>(tns >> 8);
}

/// The frame of @p command, from its function code on, that goes out under @p tns.
inline QByteArray requestFrame(int tns, const QByteArray& command)
{
    return frameOf(numbered("01000F00", tns) + command);
}

/// An ACK and the reply frame under @p tns.
inline QByteArray reply(int tns, const QByteArray& data = QByteArray(), const char* status = "00")
{
    return hex("1006") + frameOf(numbered("00014F", tns).insert(3, hex(status)) + data);
}

/// @p frame with a wrong check.
inline QByteArray damaged(QByteArray frame)
{
    frame[frame.size() - 1] = static_cast<char>(frame.at(frame.size() - 1) ^ 0x40);
    return frame;
}

/// Hexadecimal digits of what was sent, a comma between two pieces.
inline QByteArray joined(const QList<QByteArray>& pieces)
{
    QByteArray text;
    for (int i = 0; i < pieces.size(); ++i)
        text += pieces.at(i).toHex() + ',';
    return text;
}
