// Reads of N7:0 over a line by the bare system calls, below which no driver comes: what
// the machine itself takes of an exchange.
#pragma once

#include <QByteArray>
#include <QString>

namespace bench {

class BareLine
{
public:
    /// Reads @p words words. Somebody else has set the line up; the words have no byte
    /// 0x10, which would be doubled. Ends the program when the line does not open.
    BareLine(const QString& path, int words);
    ~BareLine();
    BareLine(const BareLine&) = delete;
    BareLine& operator=(const BareLine&) = delete;

    /// The request, its ACK and the reply, the ACK. Ends the program when nothing comes.
    void read();

    /// Of one such read, both ways.
    int bytes() const;

private:
    const int m_line;
    const int m_answerSize;
    QByteArray m_requests[2]; // in turn: a repeated number is taken for a repetition
    int m_next = 0;
};

}
