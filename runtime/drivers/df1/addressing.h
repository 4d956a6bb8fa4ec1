// The controller's data table: file names and what they stand for.
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
