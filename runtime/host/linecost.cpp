#include "host/linecost.h"

#include "host/tagaddress.h"

namespace host {

namespace {

const int DLE = 0x10;
const int PAIR = 2;  // DLE ACK, DLE STX, DLE ETX
const int CHECK = 2; // never doubled
const int FRAME = PAIR + PAIR + CHECK;
const int REQUEST_HEADER = 7; // DST SRC CMD STS TNS(2) FNC
const int REPLY_HEADER = 6;   // the same without FNC
const int SIZE_FILE_TYPE_SUBELEMENT = 4;
const int MOST_IN_A_BYTE = 254;

int doubled(int byte)
{
    return byte == DLE ? 1 : 0;
}

int elementFieldBytes(int element)
{
    if (element <= MOST_IN_A_BYTE)
        return 1 + doubled(element);
    return 3 + doubled(element & 0xFF) + doubled(element >> 8);
}

}

int bytesPerElement(char letter)
{
    if (isThreeWordFile(letter))
        return 6;
    return letter == 'F' ? 4 : 2;
}

int dataBytesOf(const ElementRange& range)
{
    return range.count * bytesPerElement(range.letter);
}

int lineBytesOf(const ElementRange& range, const LineCost& line)
{
    const int size = dataBytesOf(range);
    const int stations = doubled(line.destination) + doubled(line.source);
    const int request = FRAME + REQUEST_HEADER + SIZE_FILE_TYPE_SUBELEMENT + stations
                        + doubled(size) + doubled(range.file) + elementFieldBytes(range.element);
    const int reply = FRAME + REPLY_HEADER + stations + size;
    return request + PAIR + reply + PAIR;
}

double secondsOf(const ElementRange& range, const LineCost& line)
{
    return lineBytesOf(range, line) * line.secondsPerByte + line.turnaround;
}

}
