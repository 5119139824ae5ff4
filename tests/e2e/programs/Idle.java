/** Knows nothing of any debugger: sleeps, or spins, for the given number of milliseconds or until it is over. */
class Idle {
    static volatile boolean over;

    public static void main(String[] arguments) throws InterruptedException {
        long end = System.nanoTime() + Long.parseLong(arguments[0]) * 1_000_000L;
        boolean spins = arguments.length > 1;
        System.out.println("ready");
        long turns = 0;
        while (!over && System.nanoTime() < end) {
            turns++;
            if (!spins) Thread.sleep(20);
        }
        System.out.println("done");
        System.exit(turns > 0 ? 4 : 1);
    }
}
