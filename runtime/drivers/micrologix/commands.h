// The typed commands that the MicroLogix driver sends, as complete DF1 frames.
#pragma once

#include <QByteArray>

/// Protected typed logical read with three address fields (CMD 0x0F, FNC 0xA2):
/// @p byteCount bytes (low 8 bits used) of the named file from @p element,
/// sub-element 0. An unknown file name makes file type 0, file number 255, which
/// a controller refuses.
QByteArray DF1PackReadBytesCmd(const QByteArray& fileName, unsigned char destination,
                               unsigned char source, unsigned short transaction,
                               unsigned short element, unsigned short byteCount);
