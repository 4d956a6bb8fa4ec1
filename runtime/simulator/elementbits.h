// The bits of the control words of timers, counters and controls, as ladder
// programs name them (MicroLogix instruction set reference).
#pragma once

#include <QtGlobal>

namespace simulator {

namespace timer {
constexpr quint16 EN = 1 << 15;
constexpr quint16 TT = 1 << 14;
constexpr quint16 DN = 1 << 13;
/// The simulator's own choice among the internal bits: set for a base of 1 s, clear
/// for 10 ms.
constexpr quint16 SecondBase = 1 << 8;
}

namespace counter {
constexpr quint16 CU = 1 << 15;
constexpr quint16 CD = 1 << 14;
constexpr quint16 DN = 1 << 13;
constexpr quint16 OV = 1 << 12;
constexpr quint16 UN = 1 << 11;
}

namespace control {
constexpr quint16 EN = 1 << 15;
constexpr quint16 EU = 1 << 14;
constexpr quint16 DN = 1 << 13;
constexpr quint16 EM = 1 << 12;
constexpr quint16 ER = 1 << 11;
constexpr quint16 UL = 1 << 10;
constexpr quint16 IN = 1 << 9;
constexpr quint16 FD = 1 << 8;
}

}
