// The controller's data table: file names and what they stand for, the names of
// status bits and words, and requested bits picked out of what a read brought.
//
// A timer, counter or control element is three 16-bit words, 6 bytes, low byte
// first: the control word with its status bits, the preset (PRE; LEN of a
// control) and the accumulator (ACC; POS of a control).
//
// Names are compared without regard to case. All functions are safe on any
// thread.
#pragma once

#include <QByteArray>
#include <QtGlobal>

/// The PCCC data-table file type of a file name, taken from its first letter in
/// either case: O 0x82, I 0x83, S 0x84, B 0x85, T 0x86, C 0x87, R 0x88, N 0x89,
/// F 0x8A; 0 for anything else (publication 1770-6.5.16, chapter 7).
Q_DECL_EXPORT unsigned char DF1GetFileType(const QByteArray& fileName);

/// The file number of a file name: always 0 for O and 1 for I; for the other
/// letters the decimal number behind it, cut to its low 8 bits, 0 when there is
/// no valid number; 255 for an unknown letter.
Q_DECL_EXPORT unsigned char DF1GetFileNo(const QByteArray& fileName);

// The control word's bit that a mnemonic names. Only the letters shown are looked
// at; what follows them may be anything.

/// Timers: EN 15, TT 14, anything else 13 (DN).
Q_DECL_EXPORT int DF1GetT4MnemonicBitNum(const QByteArray& mnemonic);
/// Counters: CU 15, any other C 14 (CD), D 13 (DN), O 12 (OV), UN 11, any other U
/// 10 (UA); -1 for anything else.
Q_DECL_EXPORT int DF1GetC5MnemonicBitNum(const QByteArray& mnemonic);
/// Controls: EN 15, EU 14, D 13 (DN), EM 12, any other E 11 (ER), U 10 (UL), I 9
/// (IN), F 8 (FD); -1 for anything else.
Q_DECL_EXPORT int DF1GetR6MnemonicBitNum(const QByteArray& mnemonic);

/// The sub-element that a word name begins with: 1 for PRE and LEN, 2 for ACC and
/// POS, 255 for anything else.
Q_DECL_EXPORT unsigned char DF1WordNameToSubElementNo(const QByteArray& wordName);

// Bits of timer, counter and control elements alike, whatever the names say.
//
// `image` is whole elements as the controller sends them; the caller guarantees
// every byte that the request reaches. The result is a bit array (see
// tools/conversions.h) with bit 0 the first one asked for. It is as long as first
// bit (for a mnemonic, its bit number) plus count bits need, so it may end in
// zero bytes: one DN bit comes in two bytes.
//
// A count below 1 picks no bits and reads nothing; the length stays as said, and
// is 0 for a sum below 0. A negative first bit and a mnemonic without a bit
// (number -1) read nothing either and give zero bytes, as many as count bits need.

/// Control-word bits counted on from element to element, 16 in each: bit n is bit
/// n % 16 of element n / 16. Bit numbers wrap at 65536.
Q_DECL_EXPORT QByteArray DF1ExtractT4_C5_R6_Bits(const unsigned char* image,
                                                 unsigned short firstBit, int count);

/// The mnemonic's control-word bit of each of @p count elements in turn.
Q_DECL_EXPORT QByteArray DF1ExtractT4_MnemonicBits(const unsigned char* image,
                                                   const QByteArray& mnemonic, int count);
Q_DECL_EXPORT QByteArray DF1ExtractC5_MnemonicBits(const unsigned char* image,
                                                   const QByteArray& mnemonic, int count);
Q_DECL_EXPORT QByteArray DF1ExtractR6_Mnemonic_Bits(const unsigned char* image,
                                                    const QByteArray& mnemonic, int count);

/// Bits of the PRE (LEN) words, counted on from element to element as above.
Q_DECL_EXPORT QByteArray DF1ExtractT4_PRE_Bits(const unsigned char* image, int firstBit, int count);
/// Bits of the ACC (POS) words.
Q_DECL_EXPORT QByteArray DF1ExtractT4_ACC_Bits(const unsigned char* image, int firstBit, int count);
