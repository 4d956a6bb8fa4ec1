// A plant for trying the panel: a simulated controller whose values change and whose
// line is pulled out and put in again.
#pragma once

#include <QString>

#include "simulator/server.h"

class Rehearsal
{
public:
    Rehearsal();

    /// Where the controller's line is.
    static QString link() { return "./panel-line"; }

    /// Takes the next step of the story, which the panel is to notice before the one
    /// after it. False when the story is over.
    bool advance();

private:
    bool plugIn();
    bool change(quint16 level);

    simulator::Server m_controller;
    int m_step = 0;
};
