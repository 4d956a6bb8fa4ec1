#include "support/ptypair.h"

#include <QFile>

#include <cstdlib>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace support {

PtyPair::PtyPair()
    : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0)
        return;
    const char* const path = ::ptsname(m_master);
    m_slavePath = QFile::decodeName(path);
    m_slave = ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings = {};
    if (m_slave < 0 || ::tcgetattr(m_slave, &settings) != 0)
        return;
    ::cfmakeraw(&settings);
    ::tcsetattr(m_slave, TCSANOW, &settings);
}

PtyPair::~PtyPair()
{
    closeMaster();
    if (m_slave >= 0)
        ::close(m_slave);
}

void PtyPair::closeMaster()
{
    if (m_master >= 0)
        ::close(m_master);
    m_master = -1;
}

}
