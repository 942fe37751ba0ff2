// Decoration of the plug-in's exported entry points. Everything else in the
// plug-in is hidden.
#pragma once

#if defined(_WIN32)
#  if defined(ATRIUM_BUILDING_PLUGIN)
#    define ATRIUM_EXPORT __declspec(dllexport)
#  else
#    define ATRIUM_EXPORT __declspec(dllimport)
#  endif
#else
#  define ATRIUM_EXPORT __attribute__((visibility("default")))
#endif
