// What a read costs on the line (publication 1770-6.5.16, chapters 2 and 7).
#pragma once

namespace host {

/// How fast a line is, and who talks on it.
struct LineCost
{
    double secondsPerByte = 10.0 / 19200; ///< LineSettings has it
    double turnaround = 0;                ///< seconds that each request takes beside its bytes
    int destination = 1;                  ///< station number of the controller
    int source = 0;                       ///< the host's own
};

/// Elements of one data file; places and letters as DataPlace has them.
struct ElementRange
{
    char letter = 'N';
    int file = 0;
    int element = 0;
    int count = 0;
};

/// 2, of F 4, of T, C and R 6.
int bytesPerElement(char letter);
int dataBytesOf(const ElementRange& range);

/// Bytes that a typed read of the range moves in both directions: the request, its
/// ACK, the reply and its ACK. Bytes 0x10 travel twice; of those in stations, size,
/// file and element this counts every one. Those in the transaction number and in the
/// data are not known beforehand and not counted.
int lineBytesOf(const ElementRange& range, const LineCost& line);
/// What they take, in seconds.
double secondsOf(const ElementRange& range, const LineCost& line);

}
