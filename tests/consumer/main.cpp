// A host built against an installed BrindlexCore: it gives the library a sandbox and a token, lets it
// start its own main thread, and prints the version it was compiled and linked with. The exit status
// says whether all of that held.
#include <cstdio>
#include <cstring>
#include <string>

#include "core/BDXDataStore.h"
#include "core/BrindlexCore.h"
#include "foundation/DispatchQueue.h"
#include "foundation/RunLoop.h"
#include "foundation/Sandbox.h"

#ifndef BDX_VERSION_STRING
#error "the installed package must hand the library's compile definitions on to its consumers"
#endif

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <sandbox root>\n", argv[0]);
        return 2;
    }
    bdx::Sandbox::setRoot(argv[1]);
    bdx::RunLoop::startEmbeddedMainThread();
    bool servedOnMain = false;
    bdx::DispatchQueue::main()->sync([&] { servedOnMain = bdx::isMainThread(); });

    BDXDataStore::getInstance()->setAppToken("consumer-token");
    // A fresh data store reads the token back from where the library keeps it.
    BDXDataStore::destroy();
    const std::string token = BDXDataStore::getInstance()->appToken();

    std::printf("BrindlexCore %s, compiled against %s\n", BrindlexCoreVersionString, BDX_VERSION_STRING);
    std::printf("main queue %s\n", servedOnMain ? "served" : "NOT served");
    std::printf("token %s\n", token.c_str());
    bdx::RunLoop::stopEmbeddedMainThread();

    const bool sameVersion = std::strcmp(BrindlexCoreVersionString, BDX_VERSION_STRING) == 0;
    return servedOnMain && sameVersion && token == "consumer-token" ? 0 : 1;
}
