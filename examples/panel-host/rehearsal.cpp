#include "rehearsal.h"

#include <QTextStream>

namespace {

simulator::DataTables plant()
{
    using simulator::FileType;
    simulator::DataTables tables;
    tables.add(3, FileType::Bit, 1);
    tables.add(4, FileType::Timer, 1).setWord(0, 2, 40);
    tables.add(7, FileType::Integer, 1).setWord(0, 0, 500);
    tables.add(8, FileType::Float, 1).setReal(0, 21.5F);
    return tables;
}

}

Rehearsal::Rehearsal()
    : m_controller(simulator::Controller(plant()))
{}

bool Rehearsal::advance()
{
    switch (++m_step) {
    case 1:
        return plugIn();
    case 2:
        return change(510);
    case 3:
        m_controller.stop();
        return true;
    case 4: // the panel's first attempt to open the line again
    case 5: // and its second
        return true;
    case 6:
        return change(520) && plugIn();
    default:
        return false;
    }
}

bool Rehearsal::plugIn()
{
    QString error;
    const bool isServing = m_controller.start(simulator::PtyPlace{link()}, &error);
    if (!isServing)
        QTextStream(stderr) << error << '\n';
    return isServing;
}

bool Rehearsal::change(quint16 level)
{
    m_controller.change([level](simulator::DataTables& tables) {
        tables.file(7)->setWord(0, 0, level);
        tables.file(3)->setWord(0, 0, 1 << 5); // the pump runs
    });
    return true;
}
