#include "failure.h"

#include <iostream>

void report(const Failure& failure)
{
    std::cerr << "df1: " << failure.what() << '\n';
}
