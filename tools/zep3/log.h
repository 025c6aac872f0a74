// Messages to the user, all on standard error and all beginning with the program's name.
#pragma once

#include <string>

void Say(const std::string& message);

// Warnings of the image libraries: with `verbose` they are said, otherwise dropped. What ends a scan's work arrives as
// an exception, not here.
void RouteLibraryMessages(bool verbose);
