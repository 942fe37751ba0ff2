// Export/import decoration of the host's common libraries. Types and functions
// marked KIT_API live in the host; a plug-in only references them.
#pragma once

#if defined(_WIN32)
#  if defined(KIT_BUILDING_HOST)
#    define KIT_API __declspec(dllexport)
#  else
#    define KIT_API __declspec(dllimport)
#  endif
#else
#  define KIT_API __attribute__((visibility("default")))
#endif
