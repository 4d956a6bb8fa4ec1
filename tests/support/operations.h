// Random reads and writes of everything that a controller's tables hold, and what they
// come to, without the code under test.
#pragma once

#include <QByteArray>
#include <random>
#include <vector>

#include "drivers/communicatorcommand.h"
#include "simulator/datatables.h"

namespace support {

/// A request with the data that a write of it carries, and where each byte belongs.
struct Operation
{
    CommunicatorCommand request;
    QByteArray data;
    int file = 0;
    int element = 0;
    int subElement = 0;
    int bit = -1;        ///< of the word at element and sub-element; -1: all of data
    bool isEach = false; ///< data goes word by word to the sub-element of each element
};

/// A bit, or 1 to 4 elements, of any file; the data are rich in bytes 0x10.
Operation randomOperation(const simulator::DataTables& tables, std::mt19937& random);

/// What the operation makes of the tables as a write; false when it lies outside them.
bool applyTo(simulator::DataTables& tables, const Operation& operation);

/// What it brings as a read, in the form of its data; empty when it lies outside them.
QByteArray readFrom(const simulator::DataTables& tables, const Operation& operation);
/// The driver's result in the same form: of bits only the one asked for.
QByteArray asData(const QByteArray& read, const Operation& operation);

/// Whether @p after is @p before with each word or float of the operation written, or with
/// some of them. @p isWhole: with all of them.
bool canComeOf(const Operation& operation, const simulator::DataTables& before,
               const simulator::DataTables& after, bool isWhole);

}
