// What other libraries take for the same work, where they are installed.
#pragma once

void AddPeers();
