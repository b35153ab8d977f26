#include "app/Cli.h"

int main(int argc, char** argv) {
    return pelix::runPelix(argc, argv);
}
