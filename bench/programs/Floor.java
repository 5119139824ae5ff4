/** The agent of floor/floor.cpp. */
class Floor {
    static native void listThreads();

    static native void setBreakpoint(Class<?> clazz, String method);
}
