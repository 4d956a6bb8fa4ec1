#include "drivers/df1/addressing.h"

namespace {

const unsigned char OUTPUT_FILE = 0x82;
const unsigned char INPUT_FILE = 0x83;

}

unsigned char DF1GetFileType(const QByteArray& fileName)
{
    if (fileName.isEmpty())
        return 0;
    switch (fileName.at(0)) {
    case 'O':
    case 'o':
        return OUTPUT_FILE;
    case 'I':
    case 'i':
        return INPUT_FILE;
    case 'S':
    case 's':
        return 0x84;
    case 'B':
    case 'b':
        return 0x85;
    case 'T':
    case 't':
        return 0x86;
    case 'C':
    case 'c':
        return 0x87;
    case 'R':
    case 'r':
        return 0x88;
    case 'N':
    case 'n':
        return 0x89;
    case 'F':
    case 'f':
        return 0x8A;
    default:
        return 0;
    }
}

unsigned char DF1GetFileNo(const QByteArray& fileName)
{
    switch (DF1GetFileType(fileName)) {
    case 0:
        return 255;
    case OUTPUT_FILE:
        return 0;
    case INPUT_FILE:
        return 1;
    default:
        return static_cast<unsigned char>(fileName.mid(1).toUInt());
    }
}
