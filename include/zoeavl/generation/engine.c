#define TRUE 1
#define FALSE 0

#define ZOEAVL_IS_THREAD( lk )      ((intptr_t)(lk) & (intptr_t)2)
#define ZOEAVL_WENT_RIGHT( lk )     ZOEAVL_IS_THREAD( lk )

#define ZOEAVL_MAKE_THREAD( lk )    (ZOEAVLp)((intptr_t)(lk) | (intptr_t)2)
#define ZOEAVL_GO_RIGHT( lk )       ZOEAVL_MAKE_THREAD( lk )

#define ZOEAVL_IS_BALANCE( lk )     ((intptr_t)(lk) & (intptr_t)1)
#define ZOEAVL_MAKE_BALANCE( lk )   (ZOEAVLp)((intptr_t)(lk) | (intptr_t)1)
#define ZOEAVL_STRIP_BALANCE( lk )  (ZOEAVLp)((intptr_t)(lk) & ~((intptr_t)1))

//
// ZOEAVL_ASSIGN_KEEP_BALANCE(target, source)
//
//  Assigns "source" to "target", preserving the balance bit currently
//  in "target"
//
#define ZOEAVL_ASSIGN_KEEP_BALANCE( target, source )                         \
        target = (ZOEAVLp)                                                     \
         (((intptr_t)(source) & ~((intptr_t)1)) | ZOEAVL_IS_BALANCE( target ))

//
// ZOEAVL_GET_BALANCE(t)
//
//   Returns -1, 0, or 1 depending on the settings of the balance bits
//   in the llink and rlink pointers in tree node "t".
//
#define ZOEAVL_GET_BALANCE(t) (ZOEAVL_IS_BALANCE((t)->rlink) -               \
                               ZOEAVL_IS_BALANCE((t)->llink))

//
// ZOEAVL_SET_BALANCE(t, b)
//
//   Sets the llink and rlink balance bits in tree node "t" depending
//   on whether balance value "b" is -1, 0, or 1.
//
#define ZOEAVL_SET_BALANCE( t, b )                                             \
        ((t)->llink = (ZOEAVLp)(((intptr_t)((t)->llink) & ~1) | (1>>(1+(b)))), \
         (t)->rlink = (ZOEAVLp)(((intptr_t)((t)->rlink) & ~1) | (1>>(1-(b)))))

#define ZOEAVL_LINK( lk )     ((ZOEAVLp)((intptr_t)(lk) & ~(intptr_t)3))



#define ASSERT(cond)
#ifndef ZOEAVL_FINDCOMP
#define ZOEAVL_FINDCOMP(a,b,n,p,f)   ZOEAVL_COMP(a,b,n,p,f)
#endif

ZOEAVLp Adder( ZOEAVLRootp tree,          // ssssssssssssssss
               ZOEAVLp now )
{
  int off = tree->keyoff;

 void*    nowKey = (void*)((char*)now + off);
 ZOEAVLp  p, q, s, t;
 intptr_t sbal, pbal;
 /*-------------------------------------------------------------------*/
 /*-- cmap is the comparison map that records the path from the     --*/
 /*-- nearest unbalanced parent to the new node. '0' is a llink     --*/
 /*-- move and '1' is a rlink move.                                 --*/
 /*-------------------------------------------------------------------*/
 int      a;
 ZOEAVLp  stack[((sizeof(void*) * 8) -
                ((sizeof(void*) == 8) ? 4 : 3)) * 3/2];
 ZOEAVLp  *stackp = stack;

 ZOEAVL_DO_LOCK(tree->rw, TRUE);
 if ( tree->headptr == NULL )
    {
    /*-- first node --*/
    tree->headptr = now;
    now->rlink = now->llink = ZOEAVL_MAKE_THREAD( NULL );
    // The above [rl]link assignments force now's balance to be zero.
    //ZOEAVL_SET_BALANCE(now, 0);
    ZOEAVL_DO_UNLOCK(tree->rw);
    return now;
    }

 /*-- a1: initialize --*/
 t = q = NULL;
 p = s = tree->headptr;

 /*-- search/insert loop --*/
 for ( ; ; )
    {
    /*-- a2: compare and insert --*/
    ZOEAVL_COMP( nowKey, (void*)((char*)p + off), tree->keylen, goLeft, goRight );

    ZOEAVL_DO_UNLOCK(tree->rw);
    return p;

    goLeft:  /*-- now preceeds p --*/
    q = ZOEAVL_STRIP_BALANCE( p->llink );
    *stackp++ = p;
    if ( ZOEAVL_IS_THREAD( q ) )
       {
       /*-- at leaf node, transfer thread --*/
       now->llink = q;
       now->rlink = ZOEAVL_MAKE_THREAD( p );
       ZOEAVL_ASSIGN_KEEP_BALANCE( p->llink, now );
       break;
       }
    p = q;
    continue;

    goRight:  /*-- now follows p --*/
    q = ZOEAVL_STRIP_BALANCE( p->rlink );
    *stackp++ = p;
    if ( ZOEAVL_IS_THREAD( q ) )
       {
       /*-- at leaf node, transfer thread --*/
       now->rlink = q;
       now->llink = ZOEAVL_MAKE_THREAD( p );
       ZOEAVL_ASSIGN_KEEP_BALANCE( p->rlink, now );
       break;
       }
    p = q;
    }

 /*-- If we get here, "now" was added. Finish init.--*/
 // Now's balance is already 0 since we haven't turned on the
 // balance bits in its new link pointers...
 //
 //ZOEAVL_SET_BALANCE(now, 0);
 q = now;
 s = *--stackp;

 // 64bit OK to ship -- stupid compiler...
 while ((a = ZOEAVL_GET_BALANCE(s)) == 0)
    {
    // Note: s's balance guaranteed to be zero here.
    if ( s->llink == q )
       ZOEAVL_SET_BALANCE( s, -1 );
    else
       ZOEAVL_SET_BALANCE( s, 1 );
    if ( stackp == stack )
       {
       ZOEAVL_DO_UNLOCK(tree->rw);
       return now;
       }
    q = s;
    s = *--stackp;
    }

 ZOEAVL_SET_BALANCE( s, 0 );
 if ( (s->llink == q) == (a > 0) )
    {
    ZOEAVL_DO_UNLOCK(tree->rw);
    return now;
    }

 //
 // Note:  The *only* values passed down from the find-loop section
 //        above to the balancing section below are:
 //        s, stack, stackp, now, tree
 //

 /*-- a6: adjust balancing factors --*/
 /*-- a7: balancing act --*/
 if ( ZOEAVL_GET_BALANCE( q ) == a )
    {
    /*-- a8: single rotation --*/
    ZOEAVL_SET_BALANCE( q, 0 );
    p = q;
    if ( a > 0 )
       {
       /*-- rotate left --*/
       // Note s's and q's balances are both 0 here.
       if ( ZOEAVL_IS_THREAD( q->llink ) )
          s->rlink = ZOEAVL_MAKE_THREAD( q );
       else
          s->rlink = q->llink;
       q->llink = s;
       }
    else
       {
       /*-- rotate right --*/
       // Note s's and q's balances are both 0 here
       if ( ZOEAVL_IS_THREAD( q->rlink ) )
          s->llink = ZOEAVL_MAKE_THREAD( q );
       else
          s->llink = q->rlink;
       q->rlink = s;
       }
    }
 else
    {
    /*-- a9: double rotation --*/
    ZOEAVL_SET_BALANCE( q, 0 );
    if ( a > 0 )
       {
       /*-- rotate left twice --*/
       // Note s's and q's balances are both 0 here.  We'll need p's
       // balance for a check below, but since it will be set to
       // zero anyway, and we're updating both links, we can do
       // both by just clobbering the balance bits.
       p = q->llink;
       pbal = ZOEAVL_GET_BALANCE( p );
       if ( ZOEAVL_IS_THREAD( p->rlink ) )
          q->llink = ZOEAVL_MAKE_THREAD( p );
       else
          q->llink = ZOEAVL_STRIP_BALANCE( p->rlink );
       p->rlink = q;
       if ( ZOEAVL_IS_THREAD( p->llink ) )
          s->rlink = ZOEAVL_MAKE_THREAD( p );
       else
          s->rlink = ZOEAVL_STRIP_BALANCE( p->llink );
       p->llink = s;
       }
    else
       {
       /*-- rotate right twice --*/
       // Note s's and q's balances are both 0 here.  We'll need p's
       // balance for a check below, but since it will be set to
       // zero anyway, and we're updating both links, we can do
       // both by just clobbering the balance bits.
       p = q->rlink;
       pbal = ZOEAVL_GET_BALANCE( p );
       if ( ZOEAVL_IS_THREAD( p->llink ) )
          q->rlink = ZOEAVL_MAKE_THREAD( p );
       else
          q->rlink = ZOEAVL_STRIP_BALANCE( p->llink );
       p->llink = q;
       if ( ZOEAVL_IS_THREAD( p->rlink ) )
          s->llink = ZOEAVL_MAKE_THREAD( p );
       else
          s->llink = ZOEAVL_STRIP_BALANCE( p->rlink );
       p->rlink = s;
       }
    // Note: p's balance is guaranteed to be zero here.
    //ZOEAVL_SET_BALANCE(p, 0);
    sbal = (pbal == a) ? -a : 0;
    ZOEAVL_SET_BALANCE( s, sbal );
    if ( pbal == -a )
       ZOEAVL_SET_BALANCE( q, a );
    }

 /*-- a10: finishing touch --*/
 if ( stackp == stack )
    tree->headptr = p;
 else
    {
    t = *--stackp;
    if ( ZOEAVL_LINK( t->rlink ) == s )
       ZOEAVL_ASSIGN_KEEP_BALANCE( t->rlink, p );
    else
       ZOEAVL_ASSIGN_KEEP_BALANCE( t->llink, p );
    }

 ZOEAVL_DO_UNLOCK(tree->rw);
 return now;
}


ZOEAVLp Finder( ZOEAVLRootp tree,
                void *nowKey )
{
  int off = tree->keyoff;

 ZOEAVLp p;

 ZOEAVL_DO_LOCK(tree->rw, FALSE);
 p = tree->headptr;
 if ( p == NULL )
    {
    ZOEAVL_DO_UNLOCK(tree->rw);
    return p;
    }

 for ( ; ; )
    {
    /*----------------------------------------------------------------*/
    /*-- "nowKey" is a direct pointer to the key in question.       --*/
    /*----------------------------------------------------------------*/
    ZOEAVL_FINDCOMP( (void*)nowKey, (void*)((char*)p + off), tree->keylen, goLeft, goRight );

    ZOEAVL_DO_UNLOCK(tree->rw);
    return p;  /*-- found it --*/

goLeft:
    p = ZOEAVL_STRIP_BALANCE(p->llink);
    if ( ZOEAVL_IS_THREAD( p ) )
       {
       ZOEAVL_DO_UNLOCK(tree->rw);
       return NULL;
       }
    continue;

goRight:
    p = ZOEAVL_STRIP_BALANCE(p->rlink);
    if ( ZOEAVL_IS_THREAD( p ) )
       {
       ZOEAVL_DO_UNLOCK(tree->rw);
       return NULL;
       }
    }
}


ZOEAVLp FuzzyFinder( ZOEAVLRootp tree,
                     void *nowKey,
                     ZOEAVLp *prevp,
                     ZOEAVLp *nextp )
{
  int off = tree->keyoff;

 ZOEAVLp p = tree->headptr;
 ZOEAVLp q;

 ZOEAVL_DO_LOCK(tree->rw, FALSE);
 if ( p == NULL )
    {
    if (prevp)
       *prevp = NULL;
    if (nextp)
       *nextp = NULL;
    ZOEAVL_DO_UNLOCK(tree->rw);
    return p;
    }

 for ( ; ; )
    {
    /*----------------------------------------------------------------*/
    /*-- "nowKey" is a direct pointer to the key in question.       --*/
    /*----------------------------------------------------------------*/
    ZOEAVL_FINDCOMP( (void*)nowKey, (void*)((char*)p + off), tree->keylen, goLeft, goRight );

    /*-- found it --*/
    if (prevp)
       {
       // Explicit ZOEAVL_PREV_NODEB, to save some derefs and because we
       // don't #include tavl
       ZOEAVLp scan = ZOEAVL_STRIP_BALANCE(p->llink);
       if ( !ZOEAVL_IS_THREAD(scan) )
          for ( ;
                !ZOEAVL_IS_THREAD(scan->rlink);
                scan = ZOEAVL_STRIP_BALANCE(scan->rlink) );
       *prevp = ZOEAVL_LINK(scan);
       }
    if (nextp)
       {
       // Explicit ZOEAVL_NEXT_NODEB, to save some derefs and because we
       // don't #include tavl
       ZOEAVLp scan = ZOEAVL_STRIP_BALANCE(p->rlink);
       if ( !ZOEAVL_IS_THREAD(scan) )
          for ( ;
                !ZOEAVL_IS_THREAD(scan->llink);
                scan = ZOEAVL_STRIP_BALANCE(scan->llink) );
       *nextp = ZOEAVL_LINK(scan);
       }
    ZOEAVL_DO_UNLOCK(tree->rw);
    return p;

    goLeft:
    q = ZOEAVL_STRIP_BALANCE(p->llink);
    if ( ZOEAVL_IS_THREAD( q ) )
       {
       //
       // Search key not found, but would have been between p's predecessor
       // and p itself.  P's predecessor happens to be ZOEAVL_LINK(q).
       //
       if (prevp)
          *prevp = ZOEAVL_LINK(q);
       if (nextp)
          *nextp = p;
       ZOEAVL_DO_UNLOCK(tree->rw);
       return NULL;
       }
    p = q;
    continue;

    goRight:
    q = ZOEAVL_STRIP_BALANCE(p->rlink);
    if ( ZOEAVL_IS_THREAD( q ) )
       {
       //
       // Search key not found, but would have been between p and
       // p's successor.  P's successor happens to be ZOEAVL_LINK(q).
       //
       if (prevp)
          *prevp = p;
       if (nextp)
          *nextp = ZOEAVL_LINK(q);
       ZOEAVL_DO_UNLOCK(tree->rw);
       return NULL;
       }
    p = q;
    }
}

ZOEAVLp Killer( ZOEAVLRootp tree,
                void       *nowKey )
{
  int off = tree->keyoff;

 ZOEAVLp    p, q, s, *r, o;
 /*-------------------------------------------------------------------*/
 /*-- Unfortunately, unlike balanced insertion which can be         --*/
 /*-- accomplished with at most one rotation, balanced removal can  --*/
 /*-- require up to log N rotations.                                --*/
 /*-- Therefore, we maintain a stack of our search path to retrace  --*/
 /*-- during the balance phase. The stack size is based on the      --*/
 /*-- maximum number of nodes that can be addressed by a pointer on --*/
 /*-- this host multipled by the maximum imbalance of an AVL tree   --*/
 /*-- (the Fibonacci sequence tree).                                --*/
 /*-------------------------------------------------------------------*/
 ZOEAVLp  stack[((sizeof(void*) * 8/*MACBITS*/) -
                ((sizeof(void*) == 8) ? 4 : 3)) * 3/2];
 int      top = 0;
 int      heightChanged;
 intptr_t a;
 intptr_t qBal, sBal, pBal, qBal2;

 ZOEAVL_DO_LOCK(tree->rw, TRUE);
 if ( tree->headptr == NULL )
    {
    /*-- empty tree --*/
    ZOEAVL_DO_UNLOCK(tree->rw);
    return NULL;
    }

 /*-- initialize --*/
 p = tree->headptr;
 r = &tree->headptr;

 /*-- search loop --*/
 for ( ; ; )
    {
    ZOEAVL_COMP( nowKey, (void*)((char*)p + off), tree->keylen, goLeft, goRight );

    break;  /*-- p is node to remove --*/

    goLeft:  /*-- now preceeds p --*/
    stack[top++] = p;
    r = &p->llink;
    p = ZOEAVL_STRIP_BALANCE( p->llink );
    if ( ZOEAVL_IS_THREAD( p ) )
       {
       ZOEAVL_DO_UNLOCK(tree->rw);
       return NULL;
       }
    continue;

    goRight:  /*-- now follows p --*/
    stack[top++] = ZOEAVL_GO_RIGHT( p );
    r = &p->rlink;
    p = ZOEAVL_STRIP_BALANCE( p->rlink );
    if ( ZOEAVL_IS_THREAD( p ) )
       {
       ZOEAVL_DO_UNLOCK(tree->rw);
       return NULL;
       }
    }

 o = p;
 /*-------------------------------------------------------------------*/
 /*-- If we get here, node to remove is 'o' whoes parent link is    --*/
 /*-- pointed to '*r'. Remove and patch-up links and threads.       --*/
 /*-------------------------------------------------------------------*/
 if ( ZOEAVL_IS_THREAD( o->llink ) || ZOEAVL_IS_THREAD( o->rlink ) )
    {
    /*-- Easy case, remove a leaf node --*/
    if ( !ZOEAVL_IS_THREAD( o->llink ) )
       {
       /*-- patch left child into the hole --*/
       // o->llink->rlink = o->rlink;
       // *r = o->llink;
       q = ZOEAVL_STRIP_BALANCE( o->llink );
       ZOEAVL_ASSIGN_KEEP_BALANCE( q->rlink, o->rlink );
       ZOEAVL_ASSIGN_KEEP_BALANCE( *r, o->llink );
       }
    else if ( !ZOEAVL_IS_THREAD( o->rlink ) )
       {
       /*-- patch right child into the hole --*/
       // o->rlink->llink = o->llink;
       // *r = o->rlink;
       q = ZOEAVL_STRIP_BALANCE( o->rlink );
       ZOEAVL_ASSIGN_KEEP_BALANCE( q->llink, o->llink );
       ZOEAVL_ASSIGN_KEEP_BALANCE( *r, o->rlink );
       }
    else
       {
       /*-- both links are threads, just transfer appropriate thread --*/
       if ( top == 0 )
          {
          /*-- EMPTY TREE --*/
          ZOEAVL_ASSIGN_KEEP_BALANCE( *r, NULL );
          o->llink = o->rlink = NULL;
          ZOEAVL_DO_UNLOCK(tree->rw);
          return o;
          }
       if ( ZOEAVL_WENT_RIGHT( stack[top-1] ) )
          ZOEAVL_ASSIGN_KEEP_BALANCE( *r, o->rlink );
       else
          ZOEAVL_ASSIGN_KEEP_BALANCE( *r, o->llink );
       }
    }
 else
    {
    int  holdTop = top;
    /*----------------------------------------------------------------*/
    /*-- Remove an interior node which can be a bit tricky. We      --*/
    /*-- extend the search stack down for find either the node      --*/
    /*-- following or preceding the node being replaced and then we --*/
    /*-- transfer it into the "hole". By this we are relocating the --*/
    /*-- hole to a leaf position where we will start our            --*/
    /*-- re-balancing below.                                        --*/
    /*----------------------------------------------------------------*/
    if ( ZOEAVL_GET_BALANCE( o ) > 0 )
       {
       /*-- right side is heavier, replace with "next" --*/
       stack[top++] = ZOEAVL_GO_RIGHT( o );
       p = ZOEAVL_STRIP_BALANCE( o->rlink );
       while ( !ZOEAVL_IS_THREAD( p->llink ) )
          {
          stack[top++] = p;
          p = ZOEAVL_STRIP_BALANCE( p->llink );
          }

       /*-- also find prev --*/
       s = ZOEAVL_STRIP_BALANCE( o->llink );
       while ( !ZOEAVL_IS_THREAD( s->rlink ) )
          s = ZOEAVL_STRIP_BALANCE( s->rlink );
       ASSERT ( ZOEAVL_LINK( s->rlink ) == o );

       /*-- get parent of 'p' --*/
       q = ZOEAVL_LINK( stack[top-1] );
       if ( q == o )
          {
          /*-- gets transfered back below --*/
          ZOEAVL_ASSIGN_KEEP_BALANCE( o->rlink, p->rlink );
          }
       else if ( ZOEAVL_LINK( p->rlink ) == q )
          ZOEAVL_ASSIGN_KEEP_BALANCE( q->llink, ZOEAVL_MAKE_THREAD( p ) );
       else
          ZOEAVL_ASSIGN_KEEP_BALANCE( q->llink, p->rlink );

       /*-- now link prev to new next --*/
       ZOEAVL_ASSIGN_KEEP_BALANCE( s->rlink, ZOEAVL_MAKE_THREAD( p ) );
       }
    else
       {
       /*-- else, replace with "prev" --*/
       stack[top++] = o;
       p = ZOEAVL_STRIP_BALANCE( o->llink );
       while ( !ZOEAVL_IS_THREAD( p->rlink ) )
          {
          stack[top++] = ZOEAVL_GO_RIGHT( p );
          p = ZOEAVL_STRIP_BALANCE( p->rlink );
          }

       /*-- also find "next" --*/
       s = ZOEAVL_STRIP_BALANCE( o->rlink );
       while ( !ZOEAVL_IS_THREAD( s->llink ) )
          s = ZOEAVL_STRIP_BALANCE( s->llink );
       ASSERT ( ZOEAVL_LINK( s->llink ) == o );

       /*-- get parent of 'p' --*/
       q = ZOEAVL_LINK( stack[top-1] );
       if ( q == o )
          {
          /*-- gets transfered back below --*/
          ZOEAVL_ASSIGN_KEEP_BALANCE( o->llink, p->llink );
          }
       else if ( ZOEAVL_LINK( p->llink ) == q )
          ZOEAVL_ASSIGN_KEEP_BALANCE( q->rlink, ZOEAVL_MAKE_THREAD( p ) );
       else
          ZOEAVL_ASSIGN_KEEP_BALANCE( q->rlink, p->llink );

       /*-- now link "next" to new prev --*/
       ZOEAVL_ASSIGN_KEEP_BALANCE( s->llink, ZOEAVL_MAKE_THREAD( p ) );
       }

    /*-- copy all links moving 'p' into 'o's place --*/
    p->rlink = o->rlink;
    p->llink = o->llink;
    // p->bal = o->bal;
    a = ZOEAVL_GET_BALANCE( o );
    ZOEAVL_SET_BALANCE( p, a );

    /*-- replace 'o' in stack, now 'p' is in two slots --*/
    if ( ZOEAVL_WENT_RIGHT( stack[holdTop] ) )
       stack[holdTop] = ZOEAVL_GO_RIGHT( p );
    else
       stack[holdTop] = p;

    /*-- connect 'p' to 'o's parent --*/
    ZOEAVL_ASSIGN_KEEP_BALANCE( *r, p );
    }

 /*-------------------------------------------------------------------*/
 /*-- Now navigate down the stack balancing subtrees as we          --*/
 /*-- go.                                                           --*/
 /*-------------------------------------------------------------------*/
 for ( top--; top >= 0; top-- )
    {
    s = ZOEAVL_LINK( stack[top] );
    if ( ZOEAVL_WENT_RIGHT( stack[top] ) )
       {
       /*-- may need to "haul-up" left side to balance --*/
       a = -1;
       q = ZOEAVL_STRIP_BALANCE( s->llink );
       }
    else
       {
       /*-- may need to "haul-up" right side to balance --*/
       a = 1;
       q = ZOEAVL_STRIP_BALANCE( s->rlink );
       }

    sBal = ZOEAVL_GET_BALANCE( s );
    if ( sBal == 0 )
       {
       /*-- all done, one side remains the same height --*/
       ZOEAVL_SET_BALANCE( s, a );
       o->llink = o->rlink = NULL;
       ZOEAVL_DO_UNLOCK(tree->rw);
       return o;
       }
    if ( sBal == -a )
       {
       /*-- total height decreased, go up --*/
       ZOEAVL_SET_BALANCE( s, 0 );
       continue;
       }

    /*-- else, we need to do some rotation at this level --*/
    qBal = ZOEAVL_GET_BALANCE( q );
    if ( qBal != -a )
       {
       /*-- a8: single rotation --*/
       p = q;
       if ( a > 0 )
          {
          /*-- rotate left --*/
          // Note: s's and q's balances are set below.
          if ( ZOEAVL_IS_THREAD( q->llink ) )
             s->rlink = ZOEAVL_MAKE_THREAD( q );
          else
             s->rlink = q->llink;
          q->llink = s;
          }
       else
          {
          /*-- rotate right --*/
          if ( ZOEAVL_IS_THREAD( q->rlink ) )
             s->llink = ZOEAVL_MAKE_THREAD( q );
          else
             s->llink = q->rlink;
          q->rlink = s;
          }
       if ( qBal == 0 )
          {
          ZOEAVL_SET_BALANCE( s, a );
          ZOEAVL_SET_BALANCE( q, -a );
          heightChanged = FALSE;
          }
       else
          {
          ZOEAVL_SET_BALANCE( s, 0 );
          ZOEAVL_SET_BALANCE( q, 0 );
          heightChanged = TRUE;
          }
       }
    else
       {
       /*-- a9: double rotation --*/
       //
       // Note: q's, s's, and p's balances are all set at the bottom,
       // so we don't have to screw with them while we're setting the
       // pointers.  Whew.  We do query p and q up front before we
       // clobber the pointers, though.
       //
       qBal = ZOEAVL_GET_BALANCE( q );
       if ( a > 0 )
          {
          /*-- rotate left twice --*/
          p = ZOEAVL_STRIP_BALANCE( q->llink );
          pBal = ZOEAVL_GET_BALANCE( p );
          if ( ZOEAVL_IS_THREAD( p->rlink ) )
             q->llink = ZOEAVL_MAKE_THREAD( p );
          else
             q->llink = p->rlink;
          p->rlink = q;
          if ( ZOEAVL_IS_THREAD( p->llink ) )
             s->rlink = ZOEAVL_MAKE_THREAD( p );
          else
             s->rlink = p->llink;
          p->llink = s;
          }
       else
          {
          /*-- rotate right twice --*/
          p = ZOEAVL_STRIP_BALANCE( q->rlink );
          pBal = ZOEAVL_GET_BALANCE( p );
          if ( ZOEAVL_IS_THREAD( p->llink ) )
             q->rlink = ZOEAVL_MAKE_THREAD( p );
          else
             q->rlink = p->llink;
          p->llink = q;
          if ( ZOEAVL_IS_THREAD( p->rlink ) )
             s->llink = ZOEAVL_MAKE_THREAD( p );
          else
             s->llink = p->rlink;
          p->rlink = s;
          }

       /*-------------------------------------------------------------*/
       /*-- Unlike insertion, rotations do not always result in     --*/
       /*-- p->bal == 0                                             --*/
       /*-------------------------------------------------------------*/
       if ( pBal == a )
          ZOEAVL_SET_BALANCE( s, -a );
       else
          ZOEAVL_SET_BALANCE( s, 0 );
       if ( qBal == -a && pBal != -a )
          {
          ZOEAVL_SET_BALANCE( q, 0 );
          qBal2 = 0;
          }
       else
          {
          ZOEAVL_SET_BALANCE( q, a );
          qBal2 = a;
          }
       //
       // Here, qBal is what q's balance *used* to be. and qBal2 is
       // what q's balance is *now*.
       //
       if ( qBal2 == 0 || (qBal == -a &&  qBal == pBal) )
          {
          ZOEAVL_SET_BALANCE( p, 0 );
          heightChanged = TRUE;
          }
       else
          {
          ZOEAVL_SET_BALANCE( p, a );
          heightChanged = FALSE;
          }
       }

    /*-- reconnect to next lower tree --*/
    if ( top == 0 )
       tree->headptr = p;
    else
       {
       q = ZOEAVL_LINK( stack[top-1] );
       if ( ZOEAVL_LINK( q->rlink ) == s )
          ZOEAVL_ASSIGN_KEEP_BALANCE( q->rlink, p );
       else
          ZOEAVL_ASSIGN_KEEP_BALANCE( q->llink, p );
       }

    if ( !heightChanged )
       /*-- total height not reduced by this rotation --*/
       break;
    }

 /*-- return deleted node --*/
 o->llink = o->rlink = NULL;
 ZOEAVL_DO_UNLOCK(tree->rw);
 return o;
}
