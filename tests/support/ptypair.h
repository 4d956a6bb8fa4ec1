// A raw pseudo-terminal pair: the line under test and the far end of it.
#pragma once

#include <QByteArray>
#include <QString>

namespace support {

/// Opens a pair; isValid() tells whether the system gave one. The slave stays
/// open here as well, so that it keeps its settings between two users.
class PtyPair
{
public:
    PtyPair();
    ~PtyPair();
    PtyPair(const PtyPair&) = delete;
    PtyPair& operator=(const PtyPair&) = delete;

    bool isValid() const { return m_master >= 0 && m_slave >= 0; }
    /// The path to open as a serial device.
    QString slavePath() const { return m_slavePath; }
    /// The far end's descriptor, blocking.
    int master() const { return m_master; }
    /// A descriptor of the near end; for looking only.
    int slave() const { return m_slave; }
    /// Hangs the line up.
    void closeMaster();

private:
    int m_master;
    int m_slave = -1;
    QString m_slavePath;
};

}
