// The privileged helper. Its service and lifetime arrive with the helper's
// own work; until then it refuses to serve, as a build without a team does.
#include "core/Logger.h"

int main() {
    orv::Logger("app.orvantine.helper", "helper").error("Helper built without a team ID; refusing to serve");
    return 1;
}
