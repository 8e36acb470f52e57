// Drawing calls that do nothing, in the place of the graphics library's: frame_bench with them
// tells the time that a frame takes outside of drawing (traversal, filling of buffers, sending of
// vertices one by one). Everything else, the making and mapping of buffers too, is the library's.

#include <cstddef>

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
}
