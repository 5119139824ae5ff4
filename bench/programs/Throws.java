/** Tells what a throw costs, in nanoseconds: of a new exception with its stack, and of one without a stack that is kept. Both are
 * caught two frames up. */
class Throws {
    static class Kept extends RuntimeException {
        Kept() {
            super(null, null, false, false);
        }
    }

    static final Kept kept = new Kept();
    static int caught;

    static void raise(boolean fresh) {
        throw fresh ? new IllegalStateException() : kept;
    }

    static void call(boolean fresh) {
        raise(fresh);
    }

    static void turns(int times, boolean fresh) {
        for (int i = 0; i < times; i++) {
            try {
                call(fresh);
            } catch (RuntimeException expected) {
                caught++;
            }
        }
    }

    public static void main(String[] arguments) {
        int times = Integer.parseInt(arguments[0]);
        boolean fresh = arguments[1].equals("fresh");
        turns(times, fresh); // compiled from here on
        turns(times, fresh);
        long begin = System.nanoTime();
        turns(times, fresh);
        System.out.println((System.nanoTime() - begin) / times);
    }
}
