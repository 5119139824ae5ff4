/** Methods for a debugger to call. */
class Invocations {
    static final Invocations self = new Invocations();
    static volatile boolean otherRuns;
    static volatile boolean otherMayGo;
    static volatile boolean otherWasHeld;

    final long factor = 6;

    static int add(int first, int second) {
        return first + second;
    }

    static double half(double value) {
        return value / 2;
    }

    static void fail() {
        throw new IllegalStateException("as asked");
    }

    long times(long value) {
        return factor * value;
    }

    String greet(int times) {
        return "hello".repeat(times);
    }

    /** Runs until another thread was at a breakpoint, and then into one. */
    static int lastUntilOtherIsHeld() {
        otherMayGo = true;
        while (!otherWasHeld) Thread.onSpinWait();
        reached();
        return 1;
    }

    static void other() {
        otherRuns = true;
        while (!otherMayGo) Thread.onSpinWait();
        hold();
        otherWasHeld = true;
    }

    static void hold() {
    }

    static void reached() {
    }

    public static void main(String[] arguments) throws InterruptedException {
        Thread other = new Thread(Invocations::other, "other");
        if (arguments.length > 0) {
            other.start();
            while (!otherRuns) Thread.onSpinWait(); // so that its start is no event that comes first
        }
        reached();
        reached();
        other.join();
        System.out.println("done");
        System.exit(5);
    }
}
