#include "app/Cli.h"

int main(int argc, char** argv) {
    return pelix::app::runPelix(argc, argv);
}
