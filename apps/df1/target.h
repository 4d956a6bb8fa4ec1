// The library's addresses and values for the verbs: every error is a Failure.
#pragma once

#include <QByteArray>
#include <string>
#include <vector>

#include "host/requestsplit.h"
#include "host/tagaddress.h"
#include "host/taglist.h"

/// What @p text names, as host::TagAddress::parse says.
host::TagAddress targetOf(const std::string& text);

/// As host::splitRead and host::splitWrite say.
std::vector<host::ReadPiece> splitRead(const host::TagAddress& target, int count, int dataBytes);
std::vector<host::WritePiece> splitWrite(const host::TagAddress& target, const QByteArray& data,
                                         int dataBytes);

/// As host::loadTagList says.
std::vector<host::Tag> tagsIn(const std::string& fileName);

/// As host::dataOf says.
QByteArray dataOf(const host::TagAddress& target, const std::vector<std::string>& texts);
