// SPDX-License-Identifier: Apache-2.0
// What it costs to load the plug-in: from dlopen to the end of `open`. Each iteration loads the library anew, in a
// process that has the platform already, as every host has.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include "host/session/plugin_loader.h"

namespace {

void* loaded_library() { return dlopen(HUB_PLUGIN, RTLD_LAZY | RTLD_NOLOAD); }

// Not timed. The loader holds the library once, and the question whether it is there holds it once more.
bool unload() {
  void* library = loaded_library();
  dlclose(library);
  dlclose(library);
  return loaded_library() == nullptr;
}

void load_and_open(benchmark::State& state) {
  while (state.KeepRunning()) {
    {
      hub::host::LoadedPlugIn plugin(HUB_PLUGIN);
      if (!plugin.open()) {
        state.SkipWithError("open failed");
      }
    }
    state.PauseTiming();
    if (!unload()) {
      state.SkipWithError("the library stays loaded");
    }
    state.ResumeTiming();
  }
}
BENCHMARK(load_and_open)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
