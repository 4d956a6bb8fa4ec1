#include "drivers/tools/checksums.h"

#include "drivers/lib_crc.h"

unsigned char UInt8CheckSum(const unsigned char* data, int len)
{
    return static_cast<unsigned char>(UShortCheckSum(data, len));
}

unsigned short UShortCheckSum(const unsigned char* data, int len)
{
    unsigned short sum = 0;
    for (int i = 0; i < len; ++i)
        sum = static_cast<unsigned short>(sum + data[i]);
    return sum;
}

unsigned char XorUInt8CheckSum(const unsigned char* data, int len)
{
    unsigned char sum = 0;
    for (int i = 0; i < len; ++i)
        sum = static_cast<unsigned char>(sum ^ data[i]);
    return sum;
}

unsigned short CRC16Calculate(const unsigned char* data, int len)
{
    unsigned short crc = 0;
    for (int i = 0; i < len; ++i)
        crc = update_crc_16(crc, data[i]);
    return crc;
}
