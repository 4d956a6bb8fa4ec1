// What a request puts on the line and what station 1 answers to station 0.
#pragma once

#include "drivers/micrologix/micrologix.h"
#include "support/frames.h"
#include "support/requests.h"
#include "support/rows.h"
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

/// Goes through requests, a comma between two, that are refused with @p text and never
/// sent; %1 in the text stands for the address. A write brings as many bytes as it counts.
inline void checkRefusals(bool writes, const char* requests, const char* text)
{
    const QList<QByteArray> rows = QByteArray(requests).split(',');
    for (int i = 0; i < rows.size(); ++i) {
        DriverABMicroLogix driver;
        ScriptedPort port;
        port.retries = 2;
        const CommunicatorCommand command = request(rows.at(i));
        if (writes)
            ROW_COMPARE(rows.at(i), driver.write(&port, command, QByteArray(command.count, 1)),
                        false);
        else
            ROW_COMPARE(rows.at(i), driver.read(&port, command), QByteArray());
        ROW_COMPARE(rows.at(i), driver.hasError(), true);
        ROW_COMPARE(rows.at(i), driver.getLastError(),
                    QString(text).replace("%1", command.address));
        ROW_COMPARE(rows.at(i), port.calls.join(" "), "delay delay delay");
        ROW_COMPARE(rows.at(i), driver.getTNS(), 0);
    }
}
