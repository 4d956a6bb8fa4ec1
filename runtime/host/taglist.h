// Tag lists: which values of a controller somebody wants, and what they are called.
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

#include "host/tagaddress.h"
#include "host/valueforms.h"

namespace host {

struct Tag
{
    QString name;
    QString address;
    DataPlace place; ///< of the address
    ValueForm form = ValueForm::I16;
    double scale = 1; ///< what a number is multiplied by; 1 for other forms
    QString unit;
};

/// A tag that is called by its address. @p type is one of formNames(), or empty for
/// the form that the address has by itself: bit, i16, or f32 in F files. Nothing, with
/// one line in @p error (not null) that says what would be right, for what is no
/// address of the data tables and for a form that it can't have.
std::optional<Tag> tagAt(const QString& address, const QString& type, QString* error);

/// Reads CSV text (RFC 4180) in UTF-8:
///
///     name,address,type,scale,unit
///     Level,N7:0,i16,0.1,%
///
/// The first line names the columns, in any order and case; name and address are
/// required, and cells left out at a line's end are empty. An empty scale is 1.
/// Blanks around a cell are dropped, unless it is quoted. Blank lines, and lines that
/// begin with #, are skipped. On failure nothing, and one line in @p error (not null)
/// that names the line and says what would be right; a name given twice is a failure.
std::optional<std::vector<Tag>> parseTagList(const QByteArray& csv, QString* error);
/// The same from a file, whose name stands before the line's.
std::optional<std::vector<Tag>> loadTagList(const QString& fileName, QString* error);

}
