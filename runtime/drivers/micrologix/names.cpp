#include "drivers/micrologix/names.h"

char firstLetter(const QByteArray& text)
{
    const char first = text.isEmpty() ? '\0' : text.at(0);
    return first >= 'a' && first <= 'z' ? static_cast<char>(first - 'a' + 'A') : first;
}

char firstLetter(const QString& text)
{
    return firstLetter(text.left(1).toLatin1());
}

bool isThreeWordFile(const QByteArray& fileName)
{
    const char letter = firstLetter(fileName);
    return letter == 'T' || letter == 'C' || letter == 'R';
}

bool namesPreset(const QByteArray& fileName, const QByteArray& wordName)
{
    return qstrnicmp(wordName.constData(), firstLetter(fileName) == 'R' ? "LEN" : "PRE", 3) == 0;
}

QByteArray fileNameOf(const QRegExp& match)
{
    return match.cap(1).toLatin1();
}

unsigned short elementOf(const QRegExp& match)
{
    return static_cast<unsigned short>(match.cap(2).toUInt());
}

unsigned char bitOf(const QRegExp& match, int capture)
{
    return static_cast<unsigned char>(match.cap(capture).toUInt());
}
