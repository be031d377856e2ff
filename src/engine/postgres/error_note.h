#ifndef TVL_ENGINE_POSTGRES_ERROR_NOTE_H
#define TVL_ENGINE_POSTGRES_ERROR_NOTE_H

#include "engine/storage_plugin.h"

namespace tvl::engine {

// Makes NoteError of this module pass errors on to the module that the calls come from.
void PassErrorsTo(ErrorNote note);

}  // namespace tvl::engine

#endif
