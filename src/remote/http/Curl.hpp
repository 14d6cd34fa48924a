#pragma once

#include <curl/curl.h>

#include <memory>
#include <new>
#include <string>

namespace bex::remote {

struct FreeEasy {
    void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
};
struct FreeMulti {
    void operator()(CURLM* handle) const noexcept { curl_multi_cleanup(handle); }
};
struct FreeUrl {
    void operator()(CURLU* handle) const noexcept { curl_url_cleanup(handle); }
};
struct FreeList {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
struct FreeText {
    void operator()(char* text) const noexcept { curl_free(text); }
};

using Easy = std::unique_ptr<CURL, FreeEasy>;
using Multi = std::unique_ptr<CURLM, FreeMulti>;
using UrlHandle = std::unique_ptr<CURLU, FreeUrl>;
using List = std::unique_ptr<curl_slist, FreeList>;
using CurlText = std::unique_ptr<char, FreeText>;

/// Prepares libcurl for this process, once. Throws std::bad_alloc, libcurl's only reason to fail here.
void prepareCurl();

/// Sets an option that this libcurl knows: only memory can then be missing. Throws std::bad_alloc.
template <typename Value>
void set(CURL* handle, CURLoption option, Value value) {
    if (curl_easy_setopt(handle, option, value) != CURLE_OK) {
        throw std::bad_alloc();
    }
}

/// Appends a line to the list. Throws std::bad_alloc.
void append(List& list, const std::string& line);

}  // namespace bex::remote
