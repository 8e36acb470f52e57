// Drawing calls that do nothing, in the place of the graphics library's: frame_bench with them
// tells the time that a frame takes outside of drawing (traversal, filling of buffers, sending of
// vertices one by one). Everything else, the making and mapping of buffers too, is the library's.

#include <cstring>
#include <dlfcn.h>

extern "C" {
void glBegin(unsigned) {}
void glEnd() {}
void glVertex3f(float, float, float) {}
void glVertex3fv(const float*) {}
void glVertex4fv(const float*) {}
void glNormal3f(float, float, float) {}
void glNormal3fv(const float*) {}
void glColor4ub(unsigned char, unsigned char, unsigned char, unsigned char) {}
void glTexCoord2fv(const float*) {}
void glTexCoord4fv(const float*) {}
void glDrawArrays(unsigned, int, int) {}
void glDrawElements(unsigned, int, unsigned, const void*) {}
void glDrawRangeElements(unsigned, unsigned, unsigned, int, unsigned, const void*) {}
void glMultiDrawElements(unsigned, const int*, unsigned, const void* const*, int) {}

// The toolkit asks the graphics library for some of them by their names.
void* cc_glglue_getprocaddress(const void* glue, const char* name)
{
  if (!std::strcmp(name, "glDrawArrays")) return reinterpret_cast<void*>(&glDrawArrays);
  if (!std::strcmp(name, "glDrawElements")) return reinterpret_cast<void*>(&glDrawElements);
  if (!std::strcmp(name, "glDrawRangeElements"))
    return reinterpret_cast<void*>(&glDrawRangeElements);
  if (!std::strncmp(name, "glMultiDrawElements", 19))
    return reinterpret_cast<void*>(&glMultiDrawElements);
  using Ask = void* (*)(const void*, const char*);
  static const auto s_ask = reinterpret_cast<Ask>(dlsym(RTLD_NEXT, "cc_glglue_getprocaddress"));
  return s_ask ? s_ask(glue, name) : nullptr;
}
}
