#include "collector/Collector.h"

int main(int argc, char** argv)
{
    return RunCollector(argc, argv);
}
