// Frames made without the code under test: own doubling, own bitwise CRC.
#pragma once

#include "support/bytes.h"

inline QByteArray frameOf(const QByteArray& message)
{
    const QByteArray checked = message + '\x03';
    unsigned int crc = 0;
    for (int i = 0; i < checked.size(); ++i) {
        crc ^= static_cast<unsigned char>(checked.at(i));
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? (crc >> 1) ^ 0xA001 : crc >> 1;
    }
    QByteArray doubled = message;
    doubled.replace(QByteArray("\x10"), QByteArray("\x10\x10"));
    return hex("1002") + doubled + hex("1003") + static_cast<char>(crc)
           + static_cast<char>(crc >> 8);
}
