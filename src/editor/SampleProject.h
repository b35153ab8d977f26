#pragma once

#include "editor/EditProject.h"

namespace pelix::editor {

// A made-up project of `clips` clips and about `words` words of speech with realistic pauses,
// punctuation and fillers, some lines cut, some with pop-up phrases or corrections, and a hook.
// The same seed always gives the same project. For pictures, trials and measurements.
EditProject sampleProject(int words, int clips, quint32 seed);

}  // namespace pelix::editor
