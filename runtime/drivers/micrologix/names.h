// What the reads and writes share of a request: its types, and the parts of its
// address as the patterns have captured them.
#pragma once

#include <QByteArray>
#include <QString>

#include "drivers/qtcompat.h"

/// Type codes of CommunicatorCommand that reads and writes tell apart.
enum RequestType
{
    BIT = 0,
    BYTE = 1,
    WORD = 2,
    DOUBLE_WORD = 3,
    BLOCK = 5,
    BIT_TOO = 6
};

/// The first character in upper case, ASCII only; 0 when there is none.
char firstLetter(const QByteArray& text);
char firstLetter(const QString& text);

/// Whether a file name begins with T, C or R, in either case.
bool isThreeWordFile(const QByteArray& fileName);

/// Whether the name means the element's second word: LEN of a control, PRE of a
/// timer or counter. Every other name means the third, POS or ACC.
bool namesPreset(const QByteArray& fileName, const QByteArray& wordName);

/// Capture 1, as Latin-1.
QByteArray fileNameOf(const QRegExp& match);
/// Capture 2, its low 16 bits.
unsigned short elementOf(const QRegExp& match);
/// The given capture, its low 8 bits.
unsigned char bitOf(const QRegExp& match, int capture);
