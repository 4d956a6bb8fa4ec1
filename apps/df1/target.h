// The library's addresses and values for the verbs: every error is a Failure.
#pragma once

#include <QByteArray>
#include <string>
#include <vector>

#include "host/tagaddress.h"
#include "host/taglist.h"

/// What @p text names, as host::TagAddress::parse says.
host::TagAddress targetOf(const std::string& text);

/// As host::TagAddress says.
CommunicatorCommand readRequest(const host::TagAddress& target, int count);
CommunicatorCommand writeRequest(const host::TagAddress& target, int count);

/// As host::loadTagList says.
std::vector<host::Tag> tagsIn(const std::string& fileName);

/// As host::dataOf says.
QByteArray dataOf(const host::TagAddress& target, const std::vector<std::string>& texts);
