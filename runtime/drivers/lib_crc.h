// CRC update functions, one byte at a time.
//
// The caller keeps the running value, starts it and finishes it, so that one
// table serves several published variants; each function names the start value
// and the final step that its variants take. All are safe on any thread, the
// first call included.
#pragma once

#include <QtGlobal>

/// Polynomial 0x1021, most significant bit first. XModem starts at 0, CCITT-FALSE
/// at 0xFFFF, the augmented form at 0x1D0F; no final step.
Q_DECL_EXPORT unsigned short update_crc_ccitt(unsigned short crc, unsigned char byte);
/// Polynomial 0x8005, least significant bit first. CRC-16/ARC (DF1) starts at 0,
/// CRC-16/MODBUS at 0xFFFF; no final step.
Q_DECL_EXPORT unsigned short update_crc_16(unsigned short crc, unsigned char byte);
/// Polynomial 0x1021, least significant bit first. CRC-16/KERMIT starts at 0; no
/// final step.
Q_DECL_EXPORT unsigned short update_crc_kermit(unsigned short crc, unsigned char byte);
/// Polynomial 0x3D65, least significant bit first. CRC-16/DNP starts at 0 and is
/// complemented at the end.
Q_DECL_EXPORT unsigned short update_crc_dnp(unsigned short crc, unsigned char byte);
/// Polynomial 0x04C11DB7, least significant bit first. CRC-32 (IEEE 802.3) starts
/// at 0xFFFFFFFF and is complemented at the end.
Q_DECL_EXPORT unsigned int update_crc_32(unsigned int crc, unsigned char byte);
/// Checksum of SICK sensors' telegrams; starts at 0, with 0 as the byte before
/// the first.
Q_DECL_EXPORT unsigned short update_crc_sick(unsigned short crc, unsigned char byte,
                                             unsigned char previousByte);
