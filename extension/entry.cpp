/* The entry points by which a host brings the library to life, and the factory object. */
#include <cstring>

#include "report.h"
#include "zosupport.h"

ZOHost *Exported_ZOHandle = nullptr;

uint64_t zoextent(ZOHost *handle) {
    Exported_ZOHandle = handle;
    return 0;
}

uint64_t zoextver(ZOHost *handle, uint64_t *major, uint64_t *minor) {
    *major = 9;
    *minor = 1;
    return zoextent(handle);
}

ZOEAVLExtension *zoeavl(void *, ZOJournal *journal) {
    ZOHost *const host = Exported_ZOHandle;
    ZOPoolParms poolparm{};
    poolparm.kind = ZOPOOL_KIND;
    poolparm.extent = ZOPOOL_EXTENT;
    ZOPool *const pool = host->PoolCreate(host, &poolparm, journal, "ZOEAVL Extension");
    if (pool == nullptr) {
        zoe::engine::report_lack_of_resources(journal);
        return nullptr;
    }
    auto *const extension =
        static_cast<ZOEAVLExtension *>(pool->Alloc(pool, sizeof(ZOEAVLExtension), ZOPOOL_ZEROFILL));
    if (extension == nullptr) {
        pool->Destroy(pool);
        zoe::engine::report_lack_of_resources(journal);
        return nullptr;
    }
    extension->pool = pool;
    extension->GetReqVersion = ZOEAVLGetReqVersion;
    extension->GetVersion = ZOEAVLGetVersion;
    std::memcpy(extension->tag, "nevo", sizeof extension->tag);
    extension->RealDestroy = ZOEAVLRealDestroy;
    extension->Create = ZOEAVLCreate;
    return extension;
}

ZOEAVLExtension *zoeavlx(void *ignored, ZOJournal *journal) {
    return zoeavl(ignored, journal);
}

uint64_t ZOEAVLGetReqVersion(ZOEAVLExtension *, uint64_t *major, uint64_t *minor, uint64_t *patch) {
    *major = 9;
    *minor = 1;
    *patch = 1;
    return 0;
}

uint64_t ZOEAVLGetVersion(ZOEAVLExtension *, uint64_t *major, uint64_t *minor, uint64_t *patch) {
    *major = 2;
    *minor = 1;
    *patch = 0;
    return 0;
}

uint64_t ZOEAVLRealDestroy(ZOEAVLExtension *extension) {
    extension->pool->Destroy(extension->pool);
    return 0;
}
