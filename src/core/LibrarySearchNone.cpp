#include "core/LibrarySearch.h"

namespace velmo {

void restrictLibrarySearch() {}

} // namespace velmo
