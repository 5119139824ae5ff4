/** Ends its VM while eight threads run into breakpoints: by System.exit in all of them, or by returning from main. */
class Deaths {
    static volatile int turns;

    static void reached() {
        turns++;
    }

    static void loop(boolean exits, int seed) {
        for (int turn = 0;; turn++) {
            reached();
            if (exits && turn == 3 + seed % 5) System.exit(11);
        }
    }

    public static void main(String[] arguments) {
        boolean exits = arguments[0].equals("exit");
        int seed = Stress.number(arguments, 1);
        Stress.ready();
        for (int i = 0; i < 8; i++) {
            int own = seed + i;
            Stress.daemon("loop" + i, () -> loop(exits, own));
        }
        while (exits || turns < 20 + seed % 40) Thread.onSpinWait();
    }
}
