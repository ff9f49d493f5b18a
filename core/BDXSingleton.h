#pragma once

#include "foundation/Singleton.h"

// The shared instance of a core class: the foundation's singleton holder, with its lifetime policy (made
// once, thread-safe, dropped by `destroy`, never destroyed at exit). A class reaches its holder with
// BDXSingleton<T>::holder().
template <typename T>
using BDXSingleton = bdx::Singleton<T>;
