const char* greeting(void) {
    return "hello";
}
