// DF1 full-duplex frames: DLE STX, the application bytes with every DLE doubled,
// DLE ETX and a CRC (publication 1770-6.5.16, chapter 2).
//
// Positions count bytes from 0; ranges run from `from` up to, not including,
// `to`. The forms on a QByteArray cut a range to what the array holds; the forms
// on a pointer read only below `length` or `end`, which the caller guarantees.
#pragma once

#include <QByteArray>
#include <QtGlobal>

// Control pairs.
extern Q_DECL_EXPORT const unsigned char DF1_DLE_STX[2]; ///< opens a frame
extern Q_DECL_EXPORT const unsigned char DF1_DLE_ETX[2]; ///< closes the data; the CRC follows
extern Q_DECL_EXPORT const unsigned char DF1_DLE_ENQ[2]; ///< repeat your last answer
extern Q_DECL_EXPORT const unsigned char DF1_DLE_ACK[2]; ///< the frame was received sound
extern Q_DECL_EXPORT const unsigned char DF1_DLE_NAK[2]; ///< the frame was received damaged

/// CRC-16/ARC over @p length bytes; 0 when length is less than 1. A frame's
/// check covers the application bytes before doubling and the ETX byte, and is
/// sent low byte first, so that the same CRC over bytes, ETX and check is 0.
Q_DECL_EXPORT unsigned short DF1CRC16(const unsigned char* data, int length);

/// Turns the application bytes in @p packet into a whole frame, in place. The
/// CRC bytes are sent as they are: a 0x10 among them is not doubled.
Q_DECL_EXPORT void DF1ToDataLinkLayerPacket(QByteArray& packet);
/// The same frame, with the CRC from CRC16Calculate.
Q_DECL_EXPORT void DF1ToDataLinkLayerPacket2(QByteArray& packet);

/// Doubles every DLE in the range, in place.
Q_DECL_EXPORT void DF1EscapeDLE(QByteArray& data, int from, int to);
/// Undoes the doubling in the range, in place. False at a DLE without its
/// partner: what stands before it is folded, the rest is as it was.
Q_DECL_EXPORT bool DF1FoldDLE(QByteArray& data, int from, int to);
/// False only when the range ends in a DLE whose partner would lie beyond it.
Q_DECL_EXPORT bool DF1CheckEscapedDLEData(const unsigned char* data, int length);

/// Counts decoded bytes from @p pos: a DLE pair is one, so is a DLE followed by
/// something else. Stops after @p wanted of them, at @p end, or at a DLE that
/// stands last and waits for its partner. @p pos is left where counting stopped,
/// so that a stream can be counted in pieces.
Q_DECL_EXPORT int DF1CountEscapedDLEData(const unsigned char* data, int wanted, int end, int& pos);
/// The same, up to @p end.
Q_DECL_EXPORT int DF1CountEscapedDLEData(const unsigned char* data, int end, int& pos);
