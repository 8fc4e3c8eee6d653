#include "base/buffer.h"

namespace zolt::buffer_errors {

using std::to_string;

void throwOverflow(unsigned long claim, unsigned long remaining) {
  throw std::overflow_error("Buffer overflow: claim " + to_string(claim) + " remaining " +
                            to_string(remaining));
}

void throwSeek(unsigned long pos, unsigned long seek) {
  throw std::out_of_range("Buffer overflow: current pos " + to_string(pos) + " seek " +
                          to_string(seek));
}

void throwEmptyWrite(unsigned long typeSize, unsigned long length, unsigned long bufferTypeSize) {
  throw std::length_error("Input Buffer length error: type size " + to_string(typeSize) +
                          " length " + to_string(length) + " buffer type size " +
                          to_string(bufferTypeSize));
}

}  // namespace zolt::buffer_errors
