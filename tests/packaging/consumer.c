/* A program outside the tree built against the installed library: the version macros agree with
   the library's record, and one export answers. */
#include <stdio.h>
#include <string.h>

#include <zemac.h>

int main(void) {
    const ZemLibVersion* v = zemacGetLibVersion();
    ZemMp3HeaderRec h;
    ZemMp3ReservoirRec r;
    if (v->versionMajor != ZEMAC_VERSION_MAJOR || v->versionMinor != ZEMAC_VERSION_MINOR ||
        v->buildMajor != ZEMAC_VERSION_BUILD) {
        printf("version macros %d.%d.%d, library %d.%d.%d\n", ZEMAC_VERSION_MAJOR,
               ZEMAC_VERSION_MINOR, ZEMAC_VERSION_BUILD, v->versionMajor, v->versionMinor,
               v->buildMajor);
        return 1;
    }
    memset(&h, 0, sizeof h);
    h.id = 1;
    h.bitrate_index = 9;
    if (zemsBitReservoirInit_MP3(&r, &h) != zemStatusOk || r.maxReservoirBits != 4088)
        return 1;
    printf("%s %s\n", v->libName, v->versionText);
    return 0;
}
