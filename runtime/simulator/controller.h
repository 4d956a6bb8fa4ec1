// The controller's application layer: executes one request and words the reply.
//
// Messages are application bytes, without the link layer's framing
// (publication 1770-6.5.16, chapters 6 and 7):
//
//   request  DST SRC CMD      STS TNS(2) [FNC data...]
//   reply    SRC DST CMD|0x40 STS TNS(2) [EXT STS, only with STS F0] [data...]
//
// Executed:
//   0F A2  protected typed logical read with three address fields: size, file
//          number, file type, element, sub-element. File number, element and
//          sub-element are one byte each, or FF and 16 bits, low byte first.
//   0F AA  protected typed logical write: the same fields and size data bytes.
//   0F AB  protected typed logical masked write: the same fields, a mask word and
//          size data bytes. Where the mask has ones the data replaces what is
//          there; one mask serves every word of the data.
//   06 00  echo of up to 243 bytes.
//
// An area may start at any sub-element and run through the elements behind it.
// All of it is read or written, or nothing.
//
// Refused (manuals leave the choice open where several statuses would do; here
// every cause has its own, so that a host can tell them apart):
//
//   STS     cause
//   10      unknown command or function; a request with bytes missing or left
//           over, among them a write whose size is not that of its data; an echo
//           that is too long
//   50      no such file, no such element, or the type has no such sub-element
//   F0 01   size 0, or not whole words (of F: not whole values)
//   F0 09   size above the model's data bytes per message
//   F0 0A   the address exists, but the size runs past the end of the file
//   F0 0B   a write to a file that is protected
//   F0 11   file type that the controller does not know
//   F0 17   the file is there, with another type
//
// Of several causes the first in this order is told: format, size above the
// limit, size 0, unknown type, missing file, other type, address, size,
// protection.
#pragma once

#include "simulator/datatables.h"

#include <QByteArray>
#include <optional>

namespace simulator {

struct Area;
struct Outcome;
class RequestFields;

/// Owned and called by one thread at a time.
class Controller
{
public:
    /// @p dataBytesPerMessage: the most a read or write may carry; 206 is what the 1100,
    /// 1200 and 1500 carry, 82 the 1000.
    explicit Controller(DataTables tables, int dataBytesPerMessage = 206);

    DataTables& tables() { return m_tables; }
    const DataTables& tables() const { return m_tables; }

    /// The reply to @p request; empty when there is none to give: to less than a
    /// whole header, and to what is a reply itself.
    QByteArray execute(const QByteArray& request);

private:
    Outcome dispatch(quint8 command, const QByteArray& body);
    Outcome echo(RequestFields& fields);
    Outcome readTyped(RequestFields& fields);
    Outcome writeTyped(RequestFields& fields);
    Outcome writeMasked(RequestFields& fields);

    Outcome read(const Area& area) const;
    Outcome write(const Area& area, const QByteArray& data);
    std::optional<Outcome> refusalOf(const Area& area) const;

    DataTables m_tables;
    int m_dataBytesPerMessage;
};

}
