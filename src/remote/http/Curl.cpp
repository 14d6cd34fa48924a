#include "remote/http/Curl.hpp"

#include <new>

namespace bex::remote {

void prepareCurl() {
    static const CURLcode prepared = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (prepared != CURLE_OK) {
        throw std::bad_alloc();
    }
}

void append(List& list, const std::string& line) {
    curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    // The head stays where it is, unless the list was empty.
    static_cast<void>(list.release());
    list.reset(longer);
}

}  // namespace bex::remote
