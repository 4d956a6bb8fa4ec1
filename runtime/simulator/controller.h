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
//   0F A1, 0F A9  the read and the write with two address fields: without the
//          sub-element, which is 0.
//   0F 01  word range read: packet offset and total transaction (words, 16 bits
//          each), logical address, size in bytes. It starts packet offset words
//          behind the address.
//   0F 00  word range write: the same without size, then the data.
//   0F 26  read-modify-write: groups of logical address, AND mask and OR mask,
//          worked off in their order; each changes one word.
//   06 00  echo of up to 243 bytes.
//   06 01  diagnostic counters: ten 16-bit words, low byte first: messages sent,
//          received, undelivered, ENQs sent, NAKs received, ENQs received, bad
//          messages, no memory, duplicates, framing errors (always 0). With an
//          address word, which is ignored, and a size only the first size bytes.
//   06 03  diagnostic status, 24 bytes; of its bytes, counted from 1: 2 EE, 3 34,
//          5 firmware and, from bit 5 on, series (A is 0), 6 to 16 catalogue
//          number in ASCII, 17 and 18 the major error S2:6 while S2:1 bit 13 says
//          that there is one, 19 and 20 the mode word S2:1, 21 and 22 program ID,
//          23 RAM in KB. The others are 0.
//
// A logical address is a level mask, 06 or 0E, file number, element and, with 0E,
// sub-element; it fits a file of any type.
//
// An area may start at any sub-element and run through the elements behind it.
// A request is done wholly, or changes nothing.
//
// Refused (manuals leave the choice open where several statuses would do; here
// every cause has its own, so that a host can tell them apart):
//
//   STS     cause
//   10      unknown command or function; a request with bytes missing or left
//           over, among them a write whose size is not that of its data; another
//           level mask; an echo that is too long; more than all counters
//   50      no such file, no such element, or the type has no such sub-element
//   70      a write while S2:1 shows Program mode; reads go on
//   F0 01   size 0, or not whole words (of F: not whole values, so that 0F 26
//           can't change one); a range that goes beyond its total transaction
//   F0 09   size above the model's data bytes per message
//   F0 0A   the address exists, but the size runs past the end of the file
//   F0 0B   a write to a file that is protected
//   F0 11   file type that the controller does not know
//   F0 17   the file is there, with another type
//
// Of several causes the first in this order is told: format, total transaction,
// size above the limit, size 0, unknown type, missing file, other type, address,
// size, Program mode, protection.
//
// The file that the model names for the link counters has them in the elements where
// CS0 has them: 10 sent, 11 received, 12 undelivered, 14 no memory, 15 ENQs received,
// 17 NAKs received, 18 duplicates; the others are ordinary data.
#pragma once

#include "simulator/datatables.h"
#include "simulator/linkcounters.h"
#include "simulator/models.h"

#include <QByteArray>
#include <optional>

namespace simulator {

struct Address;
struct Area;
struct Outcome;
class RequestFields;

/// Owned and called by one thread at a time.
class Controller
{
public:
    /// @p model gives the limit of a message and what 06 03 tells; the files are
    /// those of @p tables, whatever the model's are.
    explicit Controller(DataTables tables, const Model& model = defaultModel());

    DataTables& tables() { return m_tables; }
    const DataTables& tables() const { return m_tables; }

    /// The reply to @p request; empty when there is none to give: to less than a
    /// whole header, and to what is a reply itself.
    QByteArray execute(const QByteArray& request);

    /// What 06 01 tells, and the counters' file shows, from now on; all 0 at first.
    void setLinkCounters(const LinkCounters& counters);

private:
    Outcome dispatch(quint8 command, const QByteArray& body);
    Outcome readElements(RequestFields& fields);
    Outcome readSubElements(RequestFields& fields);
    Outcome readTyped(const std::optional<Area>& area, const RequestFields& fields) const;
    Outcome writeElements(RequestFields& fields);
    Outcome writeSubElements(RequestFields& fields);
    Outcome writeTyped(const std::optional<Area>& area, const RequestFields& fields);
    Outcome writeMasked(RequestFields& fields);

    Outcome readWordRange(RequestFields& fields);
    Outcome writeWordRange(RequestFields& fields);
    Outcome readModifyWrite(RequestFields& fields);
    Address advanced(const Address& address, int words) const;

    Outcome echo(RequestFields& fields);
    Outcome readCounters(RequestFields& fields);
    Outcome readStatus(RequestFields& fields);
    quint16 statusWord(int element) const;

    Outcome read(const Area& area) const;
    Outcome write(const Area& area, const QByteArray& data);
    std::optional<Outcome> refusalOf(const Area& area) const;
    std::optional<Outcome> writeRefusalOf(const Area& area) const;

    DataTables m_tables;
    Model m_model;
    LinkCounters m_linkCounters;
};

}
