/** Some work of a usual kind: calls, allocations, threads that come and go. */
class Busy {
    static long work(int rounds) throws InterruptedException {
        long sum = 0;
        for (int round = 0; round < rounds; round++) {
            int[] made = new int[1000];
            for (int i = 0; i < made.length; i++) made[i] = i ^ round;
            for (int value : made) sum += value;
        }
        for (int i = 0; i < 200; i++) {
            Thread thread = new Thread(() -> { });
            thread.start();
            thread.join();
        }
        return sum;
    }

    public static void main(String[] arguments) throws InterruptedException {
        if (arguments.length > 0) System.out.println(work(Integer.parseInt(arguments[0])) != 0 ? "done" : "?");
    }
}
