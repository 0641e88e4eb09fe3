// The same with TurboJPEG. A fifth argument, fast, chooses its fast transform, which is also its default; else
// its accurate one is taken.
#include <turbojpeg.h>

#include "once.h"

int main(int argc, char** argv) {
    const OnceJob job = readOnceJob(argc, argv);
    const OncePicture& picture = job.picture;
    const bool fast = argc > 5 && std::strcmp(argv[5], "fast") == 0;
    const int flags = TJFLAG_NOREALLOC | (job.progressive ? TJFLAG_PROGRESSIVE : 0) |
                      (fast ? TJFLAG_FASTDCT : TJFLAG_ACCURATEDCT);
    const int format = job.grey ? TJPF_GRAY : TJPF_BGR;
    const int samples = job.grey ? TJSAMP_GRAY : TJSAMP_420;
    const tjhandle handle = tjInitCompress();
    const unsigned long capacity = tjBufSize(picture.width, picture.height, samples);
    auto* stream = static_cast<unsigned char*>(std::malloc(capacity));
    if (handle == nullptr || stream == nullptr)
        onceDie("not enough memory");
    unsigned long bytes = 0;
    for (int i = 0; i < job.repetitions; i++) {
        bytes = capacity;
        if (tjCompress2(handle, picture.pixels, picture.width, 0, picture.height, format, &stream,
                        &bytes, samples, job.quality, flags) != 0)
            onceDie(tjGetErrorStr2(handle));
    }
    std::printf("%lu\n", bytes);
    tjDestroy(handle);
    std::free(stream);
    return 0;
}
