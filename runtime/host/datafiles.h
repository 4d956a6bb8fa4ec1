// A controller's data files as a whole: which there are and how long, what they hold,
// and what sets them apart from what they should hold.
//
// Nothing but typed reads and writes tells which files there are: what the controller
// refuses is not there. So a refusal must be told apart from a fault of the line, which
// is an exception of TableAccess and ends every function here; nothing is half done
// then but what a write has reached.
#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

#include "drivers/communicatorcommand.h"

namespace host {

/// How requests reach the controller.
class TableAccess
{
public:
    virtual ~TableAccess() = default;

    /// Nothing: the controller refuses, or the driver can't take so much at once; less
    /// may do. Throws when the line fails.
    virtual std::optional<QByteArray> read(const CommunicatorCommand& command) = 0;
    /// False: the controller refuses. Throws when the line fails.
    virtual bool write(const CommunicatorCommand& command, const QByteArray& data) = 0;
};

/// The highest number that the driver can name: a byte of 255 would announce a number of
/// 16 bits.
const int LAST_FILE = 254;

/// Letters as DataPlace has them.
struct DataFileName
{
    char letter = 'N';
    int number = 7; ///< 0 to LAST_FILE; of O always 0, of I always 1

    /// As addresses begin: "N7"; "O" and "I".
    QString text() const;
    bool operator==(const DataFileName& other) const
    {
        return letter == other.letter && number == other.number;
    }
};

/// Reads N7, n7, O, O0, I, I1 and the like. Otherwise nothing, and @p error (not null)
/// says what would be right.
std::optional<DataFileName> parseDataFileName(const QString& text, QString* error);

/// A file with what it holds: whole elements as the controller keeps them, low byte
/// first; of T, C and R control word, PRE or LEN, ACC or POS.
struct DataFile
{
    DataFileName name;
    QByteArray bytes;

    int elements() const;
};

/// More elements than any controller of the family has in a file; further ones are
/// not looked for.
const int MOST_ELEMENTS = 4096;

/// Elements of the file; 0: there is none of this name.
int lengthOf(TableAccess& access, const DataFileName& name);

struct FoundFile
{
    DataFileName name;
    int elements;
};

/// All files up to number @p last, in the order of their numbers: the predefined ones
/// under their names, those from 9 on under any letter that programs can choose and the
/// driver can name (N B F T C R). Takes six requests for a number that is not in use.
/// @p looking is called with each number before.
std::vector<FoundFile> findDataFiles(TableAccess& access, int last,
                                     const std::function<void(int number)>& looking);

/// Reads the whole file by requests of at most @p dataBytes; where one is refused, with
/// half as many, and @p dataBytes stays as small for the next file. The words of
/// timers, counters and controls come by a request each, one after the other. @p done
/// is called with the number of further elements that have come. Nothing when even a
/// single element is refused: the program has changed.
std::optional<QByteArray> readDataFile(TableAccess& access, const FoundFile& file, int& dataBytes,
                                       const std::function<void(int elements)>& done);

/// A value that is not what it should be: a word, or four bytes of a float.
struct Difference
{
    DataFileName file;
    int element;
    int word; ///< of T, C and R: 0 control word, 1 PRE or LEN, 2 ACC or POS
    QByteArray now;
    QByteArray wanted;

    QString address() const;
};

/// What differs in the elements that both have, in their order.
std::vector<Difference> differencesOf(const DataFile& now, const DataFile& wanted);

/// Writes what is wanted, in order, neighbours together in at most @p dataBytes, and
/// nothing else. @p done is called with the values that each request has settled.
/// Returns what the controller has refused value by value.
std::vector<Difference> writeDifferences(TableAccess& access,
                                         const std::vector<Difference>& differences, int dataBytes,
                                         const std::function<void(int values)>& done);

}
