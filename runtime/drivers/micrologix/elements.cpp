#include "drivers/micrologix/elements.h"

namespace {

QByteArray collectWords(const unsigned char* image, unsigned short count, int offset)
{
    const int elementSize = 6;
    QByteArray words;
    words.reserve(2 * count);
    for (int i = 0; i < count; ++i)
        words.append(reinterpret_cast<const char*>(image + elementSize * i + offset), 2);
    return words;
}

}

QByteArray DF1Get_T4_C5_R6_Controls(const unsigned char* image, unsigned short count)
{
    return collectWords(image, count, 0);
}

QByteArray DF1Get_T4_C5_PREs(const unsigned char* image, unsigned short count)
{
    return collectWords(image, count, 2);
}

QByteArray DF1Get_T4_C5_ACCs(const unsigned char* image, unsigned short count)
{
    return collectWords(image, count, 4);
}
