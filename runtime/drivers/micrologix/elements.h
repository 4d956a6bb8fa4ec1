// Words picked out of whole timer, counter or control elements.
//
// An element image is `count` elements of three 16-bit words each, 6 bytes, as
// the controller sends them: control word, PRE (LEN), ACC (POS). The caller
// guarantees all 6 * count bytes. Each result is one word of every element in
// turn, low byte first, 2 * count bytes.
#pragma once

#include <QByteArray>

QByteArray DF1Get_T4_C5_R6_Controls(const unsigned char* image, unsigned short count);
QByteArray DF1Get_T4_C5_PREs(const unsigned char* image, unsigned short count);
QByteArray DF1Get_T4_C5_ACCs(const unsigned char* image, unsigned short count);
