#include "failure.h"

#include <iostream>
#include <unistd.h>

#include "output.h"

void report(const Failure& failure)
{
    const std::string text = failure.what();
    if (text.empty())
        return;
    const char* const boldRed = "\033[1;31m";
    const char* const plain = "\033[0m";
    const bool isColoured = mayColour(STDERR_FILENO);
    std::cerr << (isColoured ? boldRed : "") << "df1:" << (isColoured ? plain : "") << ' ' << text
              << '\n';
}
