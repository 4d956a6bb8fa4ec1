// Checksums over whole blocks. Each reads @p len bytes at @p data, which the
// caller guarantees to exist; a length of 0 or less gives 0 and touches nothing.
#pragma once

#include <QtGlobal>

/// Sum of all bytes modulo 256.
Q_DECL_EXPORT unsigned char UInt8CheckSum(const unsigned char* data, int len);
/// Sum of all bytes modulo 65536; bytes are added one by one, not as words.
Q_DECL_EXPORT unsigned short UShortCheckSum(const unsigned char* data, int len);
/// Exclusive OR of all bytes.
Q_DECL_EXPORT unsigned char XorUInt8CheckSum(const unsigned char* data, int len);
/// CRC-16/ARC: polynomial 0x8005 reflected, start 0, no final step.
Q_DECL_EXPORT unsigned short CRC16Calculate(const unsigned char* data, int len);
