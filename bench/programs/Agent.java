/** The debugging agent, worked from inside the process by inside/. */
class Agent {
    static native void attach();

    static native void setBreakpoint(Class<?> clazz, String method);
}
