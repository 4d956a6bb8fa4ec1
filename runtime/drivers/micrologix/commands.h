// The typed commands that the MicroLogix driver sends, as complete DF1 frames.
//
// All are CMD 0x0F with three address fields: file (number and type), element and
// sub-element. An element number above 254 is sent in three bytes. An unknown file
// name makes file type 0, file number 255, which a controller refuses. Nothing is
// checked: the caller keeps a request within what a controller takes.
#pragma once

#include <QByteArray>

/// Protected typed logical read (FNC 0xA2): @p byteCount bytes (low 8 bits used)
/// of the named file from @p element, sub-element 0.
QByteArray DF1PackReadBytesCmd(const QByteArray& fileName, unsigned char destination,
                               unsigned char source, unsigned short transaction,
                               unsigned short element, unsigned short byteCount);

/// Protected typed logical masked write (FNC 0xAB) of one bit: bit @p bit % 16 of
/// the addressed word becomes @p value, its other fifteen stay.
QByteArray DF1PackWriteBitCmd(const QByteArray& fileName, unsigned char destination,
                              unsigned char source, unsigned short transaction,
                              unsigned short element, unsigned char subElement, unsigned char bit,
                              bool value);

/// Protected typed logical write (FNC 0xAA) of @p data, unchanged. The size byte
/// holds the low 8 bits of its length; all of it is sent.
QByteArray DF1PackWriteBytesCmd(const QByteArray& fileName, unsigned char destination,
                                unsigned char source, unsigned short transaction,
                                unsigned short element, unsigned char subElement,
                                const QByteArray& data);
