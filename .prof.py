import sys, time, unittest, collections, importlib
m=importlib.import_module(sys.argv[1])
times=collections.Counter(); n=0
t0=time.clock()
def run(suite):
    global n
    for test in suite:
        if isinstance(test, unittest.TestSuite): run(test); continue
        t=time.clock(); r=unittest.TestResult(); test.run(r); n+=1
        dt=time.clock()-t
        times[type(test).__name__]+=dt
        times[test._testMethodName]+=dt
        for x,e in r.errors+r.failures: print x, e[-3000:]
        for x,e in r.skipped: print "SKIPPED", x, e
run(unittest.defaultTestLoader.loadTestsFromModule(m))
print n, "tests", time.clock()-t0
for k,v in times.most_common(12): print "%6.2f %s"%(v,k)
