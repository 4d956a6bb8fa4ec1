// A controller described in a JSON file:
//
//   { "model": "1100", "catalogue": "1763-L16BWA", "series": "B", "mode": "run",
//     "files": [
//       { "number": 7, "type": "N", "length": 100, "values": [1, -2, 65535] },
//       { "number": 4, "type": "T", "length": 10,
//         "values": [{ "pre": 100, "acc": 0, "en": true, "base": "1s" }, [0, 50, 7]] },
//       { "number": 8, "type": "F", "length": 4, "values": [21.5] } ] }
//
// Everything but "number" and "type" may be left out: the model is then the default
// one, the other properties are the model's, the length is that of the values, and
// elements without a value are 0. "files" is the whole memory; without it the files
// are the model's. Values: words of O I S B N are -32768 to 65535; T C R take three
// words (control, PRE or LEN, ACC or POS) or an object of named words and bits; a float
// may stand there as its bits, "0x7FC00000".
// Timers: pre acc en tt dn base; counters: pre acc cu cd dn ov un; controls: len pos
// en eu dn em er ul in fd. "base" is "10ms", as without it, or "1s".
// Modes: program, run, test, single. "protected": true refuses writes to a file;
// "counters": true, of one N file with 19 elements or more, makes it show the link
// counters where CS0 does (Model::countersFile). "note" may be anything.
#pragma once

#include "simulator/models.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <optional>

namespace simulator {

struct Description
{
    Model model;
    DataTables tables;
};

/// Reads the text of such a file. On failure nothing, and @p error, which is not
/// null, has one line: the line and column of what is no JSON, or the path of the
/// value that can't be used, with what would be right.
std::optional<Description> parseTables(const QByteArray& json, quint32 seed, QString* error);

/// The same from a file; @p error begins with its path. @p seed fills the model's
/// files when the description has none.
std::optional<Description> loadTables(const QString& path, quint32 seed, QString* error);

/// The text that gives the same tables back: the properties of @p head, such as "model"
/// and "note", then "files", one on a line.
QByteArray tablesText(const DataTables& tables, const QJsonObject& head);

}
