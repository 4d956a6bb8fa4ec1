// Commands with a logical binary address: word ranges and read-modify-write
// (publication 1770-6.5.16, chapter 7). A level mask says which address levels
// follow: 06 file number and element, 0E file number, element and sub-element.
//
// Each command has two builders. The ...AppLayerCmd one takes a file number and
// returns the application bytes from DST on; the other takes a file name (N7),
// whose number is DF1GetFileNo's, and returns the complete frame. Nothing is
// checked: the caller keeps a request within what a controller takes and
// guarantees the bytes at each pointer. All functions are safe on any thread.
//
// `element` numbers above 254 are sent in three bytes; elements counted on from
// it wrap at 65536. Words stand low byte first.
#pragma once

#include <QByteArray>
#include <QtGlobal>

/// Word range read (FNC 01) of @p size bytes; the transaction's total is told as
/// size / 2 words.
Q_DECL_EXPORT QByteArray DF1PackWordRangeReadAppLayerCmd(
    unsigned char destination, unsigned char source, unsigned short transaction,
    unsigned char fileNo, unsigned short element, unsigned char size);
/// The same as a frame; @p size is cut to its low 8 bits.
Q_DECL_EXPORT QByteArray DF1PackWordRangeReadCmd(const QByteArray& fileName,
                                                 unsigned char destination, unsigned char source,
                                                 unsigned short transaction, unsigned short element,
                                                 unsigned short size);
/// What comes back for a word range read of @p size bytes, before any doubling:
/// DLE ACK, DLE STX, six bytes of reply header, the data, DLE ETX and the CRC.
Q_DECL_EXPORT int DF1GetWordRangeReadRspLen(unsigned char size);

/// Word range write (FNC 00) of the 2 * @p wordCount bytes at @p data.
Q_DECL_EXPORT QByteArray DF1PackWordRangeWriteAppLayerCmd(
    unsigned char destination, unsigned char source, unsigned short transaction,
    unsigned char fileNo, unsigned short element, const unsigned char* data,
    unsigned short wordCount);
Q_DECL_EXPORT QByteArray DF1PackWordRangeWriteCmd(const QByteArray& fileName,
                                                  unsigned char destination, unsigned char source,
                                                  unsigned short transaction,
                                                  unsigned short element, const unsigned char* data,
                                                  unsigned short wordCount);

/// Read-modify-write (FNC 26) that replaces whole words: one group for each of
/// the @p wordCount words at @p data, from @p element on, with AND mask 0 and the
/// word as OR mask. No words make the header alone.
Q_DECL_EXPORT QByteArray DF1PackReadModifyWriteWordsAppLayerCmd(
    unsigned char destination, unsigned char source, unsigned short transaction,
    unsigned short fileNo, unsigned short element, unsigned char subElement,
    const unsigned char* data, unsigned short wordCount);
Q_DECL_EXPORT QByteArray DF1PackReadModifyWriteWordsCmd(
    const QByteArray& fileName, unsigned char destination, unsigned char source,
    unsigned short transaction, unsigned short element, unsigned char subElement,
    const unsigned char* data, unsigned short wordCount);

/// Read-modify-write (FNC 26) of @p bitCount bits, counted on from bit
/// @p firstBit of @p element, 16 in each word: one group for each word that they
/// touch. @p bits is a bit array (see tools/conversions.h) of the new values,
/// bitCount bits rounded up to bytes. No bits make the header alone.
Q_DECL_EXPORT QByteArray DF1PackReadModifyWriteBitsAppLayerCmd(
    unsigned char destination, unsigned char source, unsigned short transaction,
    unsigned char fileNo, unsigned short element, unsigned short firstBit, unsigned short bitCount,
    const unsigned char* bits);
Q_DECL_EXPORT QByteArray DF1PackReadModifyWriteBitsCmd(
    const QByteArray& fileName, unsigned char destination, unsigned char source,
    unsigned short transaction, unsigned short element, unsigned short firstBit,
    unsigned short bitCount, const unsigned char* bits);
