// What a build without the peers has instead of them.

#include "Rows.h"

namespace Bench
{

void addPeerRows() {}

void releasePeers() {}

} // namespace Bench
