/** A thread is in the middle of initialising a class. */
class Initialising {
    static class Slow {
        static final int VALUE = prepare();

        static int prepare() {
            hold();
            return 7;
        }

        static void hold() {
        }
    }

    public static void main(String[] arguments) throws InterruptedException {
        int[] value = new int[1];
        Thread thread = new Thread(() -> value[0] = Slow.VALUE, "initialiser");
        thread.start();
        thread.join();
        System.exit(value[0]);
    }
}
