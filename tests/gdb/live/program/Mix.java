/** Every kind of frame that a HotSpot makes, to order: the first argument says what the program does. */
class Mix {
    static volatile int sink;

    public static void main(String[] arguments) throws Exception {
        System.loadLibrary("mix");
        Descent.register();
        switch (arguments[0]) {
            case "descend": // ROUNDS END: goes down ROUNDS times, the last time to this end
                descend(Integer.parseInt(arguments[1]), Integer.parseInt(arguments[2]));
                break;
            case "work": // works in eight threads until it is killed
                Work.start();
                announce();
                Descent.sleep();
                break;
            case "threads": // COUNT: that many threads wait, each five Java frames deep
                Waiting.start(Integer.parseInt(arguments[1]));
                announce();
                Descent.sleep();
                break;
            case "locals":
                Locals.start();
                break;
            case "faults": // END: faults of the VM's own in number, then the end
                Faults.start(Integer.parseInt(arguments[1]));
                break;
            case "virtual":
                Virtual.start();
                announce();
                Descent.sleep();
                break;
            default:
                throw new IllegalArgumentException(arguments[0]);
        }
    }

    static void descend(int rounds, int end) throws Exception {
        Thread thread = new Thread(() -> {
            for (int round = 1; round < rounds; round++) {
                sink += Descent.nest(4, Descent.QUIET);
            }
            sink += Descent.nest(4, end);
        }, "descender");
        thread.start();
        thread.join();
    }

    static void announce() {
        System.out.println("READY");
        System.out.flush();
    }

    /** What the VM itself thinks of the stack; the native code below everything calls it. */
    static void show() {
        StackTraceElement[] stack = new Throwable().getStackTrace();
        StringBuilder text = new StringBuilder();
        for (int i = 1; i < stack.length; i++) {
            StackTraceElement frame = stack[i];
            text.append("FRAME ").append(frame.getClassName()).append(' ').append(frame.getMethodName()).append(' ')
                .append(frame.isNativeMethod() ? "native" : frame.getFileName() + ":" + frame.getLineNumber()).append('\n');
        }
        System.out.print(text);
        announce();
    }
}
