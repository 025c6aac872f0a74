// libvips in this process: started, and its loaders for formats that few runs meet.
#pragma once

#include "opening/admission.h"

// Starts libvips with what is admitted and nothing else. Its plug-in modules, which take most of its start, wait for
// LoadModulesFor where the library's folder has them. Once a process, before it has threads. Throws UsageError.
void StartImageLibrary(const Admission& admission);

// Loads the modules if libvips does not know the format yet, and blocks again what is not admitted. Without the module
// the format's loader is missing, as libvips then says.
void LoadModulesFor(const Format& format, const Admission& admission);
