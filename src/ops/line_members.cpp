/// The line kernels as virtual operations.
#include "ops/line_kernels.h"
#include "rastrel/rastrel.h"

bool Rastrel::mirror(unsigned char* line, unsigned long lineWidth, unsigned char lineModel) {
    return rastrel::mirrorLine(line, lineWidth, lineModel);
}
bool Rastrel::resample(unsigned short* destination, unsigned long destinationCount, unsigned short* source,
                       unsigned long sourceCount, char lineModel, unsigned char filterType, double parameter) {
    return rastrel::resample(destination, destinationCount, source, sourceCount, lineModel, filterType, parameter);
}
bool Rastrel::resample(unsigned char* destination, unsigned long destinationCount, unsigned char* source,
                       unsigned long sourceCount, char lineModel, unsigned char filterType, double parameter) {
    return rastrel::resample(destination, destinationCount, source, sourceCount, lineModel, filterType, parameter);
}
bool Rastrel::lowpass(unsigned short* destination, unsigned short* source, unsigned long count, double stretch,
                      char filterType, unsigned char lineModel, double parameter) {
    return rastrel::lowpass(destination, source, count, stretch, filterType, lineModel, parameter);
}
bool Rastrel::lowpass(unsigned char* destination, unsigned char* source, unsigned long count, double stretch,
                      char filterType, unsigned char lineModel, double parameter) {
    return rastrel::lowpass(destination, source, count, stretch, filterType, lineModel, parameter);
}
