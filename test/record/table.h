// table.h: all requests that a worker serves, as a table for people: docs/calls.md.

#pragma once

#include <string>

std::string calls_table(void);
